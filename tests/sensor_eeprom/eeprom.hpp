// A file that plays the sensor module's EEPROM, and payloads for it.
#ifndef OSTDRV_TESTS_EEPROM_HPP
#define OSTDRV_TESTS_EEPROM_HPP

#include <openssl/evp.h>

#include <cstring>
#include <map>
#include <memory>

#include "world.hpp"

namespace ostdrv::test {

using Tables = std::map<int, std::string>;  // by slot; the table of slot 5 is called t5

inline std::string openssl_md5(const std::string &message) {
    std::string digest(16, '\0');
    EVP_Digest(message.data(), message.size(), reinterpret_cast<unsigned char *>(digest.data()), nullptr, EVP_md5(),
               nullptr);
    return digest;
}

// Pseudo-random bytes, the same in every run and never all zero.
inline std::string noise(std::size_t size, unsigned seed) {
    std::string bytes(size, '\0');
    for (char &byte : bytes) byte = static_cast<char>((seed = seed * 1103515245 + 12345) >> 16);
    if (size > 0) bytes[0] |= 1;
    return bytes;
}

class Payload {
 public:
    explicit Payload(const Tables &tables = {}) {
        const char *const texts[] = {"", "imx", "s5l", "lens", "sn"};
        for (int id = 0; id < 5; ++id) std::strcpy(get()->header[id], texts[id]);
        for (const auto &[slot, data] : tables) {
            x_sensor_eeprom_table &table = name(slot);
            table.length = static_cast<int>(data.copy(reinterpret_cast<char *>(table.data), table.capacity));
        }
    }
    // As an application asks for tables before a load.
    x_sensor_eeprom_table &name(int slot) {
        x_sensor_eeprom_table &table = get()->tables[slot];
        std::snprintf(table.name, sizeof table.name, "t%d", slot);
        return table;
    }
    x_sensor_eeprom_payload *get() const { return payload_.get(); }
    x_sensor_eeprom_payload *operator->() const { return get(); }
    std::string hash() const { return {reinterpret_cast<const char *>(get()->hash), 16}; }
    Tables tables() const {
        Tables all;
        for (int slot = 0; slot < X_SENSOR_EEPROM_TABLES; ++slot) {
            const x_sensor_eeprom_table &table = get()->tables[slot];
            if (*table.name) all[slot].assign(reinterpret_cast<const char *>(table.data), std::size_t(table.length));
        }
        return all;
    }

 private:
    std::unique_ptr<x_sensor_eeprom_payload, decltype(&x_sensor_eeprom_payload_free)> payload_{
        x_sensor_eeprom_payload_init(), x_sensor_eeprom_payload_free};
};

using Outcome = std::pair<int, int>;  // what an operation returns, and its status
inline const Outcome success{0, 0};

class Eeprom : public World {
 public:
    const std::string file = path("eeprom");
    std::string printed;  // by the last operation

    std::string contents() const { return get("eeprom"); }
    void set_contents(const std::string &bytes) const { put("eeprom", bytes); }
    void erase(std::size_t size) const { set_contents(std::string(size, '\xff')); }

    // Runs an action with what it prints kept.
    template <typename Action>
    int printing(Action action) {
        {
            sim::Unseen unseen;
            testing::internal::CaptureStdout();
        }
        const int result = action();
        sim::Unseen unseen;
        printed = testing::internal::GetCapturedStdout();
        return result;
    }
    template <typename Operation, typename... Arguments>
    Outcome run(Operation *operation, Arguments... arguments) {
        int status = -99;
        const int result = printing([&] { return operation(file.c_str(), arguments..., &status); });
        return {result, status};
    }
    Outcome store(const Payload &payload) { return run(x_sensor_eeprom_store, payload.get()); }
    Outcome load(const Payload &payload) { return run(x_sensor_eeprom_load, payload.get()); }
    Outcome load_header(const Payload &payload) { return run(x_sensor_eeprom_load_header, payload.get()); }
    Outcome check(const std::string &md5) {
        return run(x_sensor_eeprom_check_header, reinterpret_cast<const unsigned char *>(md5.data()));
    }
};

}  // namespace ostdrv::test

#endif
