// A provisioned device on a simulated board: key, serial number and certificate chain of a real authority in its chip.
#ifndef OSTDRV_BENCH_DEVICE_HPP
#define OSTDRV_BENCH_DEVICE_HPP

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "board.hpp"
#include "certificates/authority.hpp"
#include "temporary_directory.hpp"

namespace ostdrv::bench {

// The system and platform calls that an action makes.
std::vector<std::string> calls_of(const std::function<void()> &action);

// Throws when two actions differ in them; otherwise how many there are.
std::size_t same_calls(const std::function<void()> &library, const std::function<void()> &bare);

class Device {
    test::TemporaryDirectory directory_;

 public:
    sim::Board board{directory_.path() + "/board"};
    // Names of a length that puts the signer's key where a Trust X verification looks for it.
    test::Authority root{"Sample Certificate Authority"};
    test::Authority signer{"Sample Intermediate Signer 1"};
    sim::PublicKey root_key = root.public_key();
    sim::Bytes signer_cert, device_cert;
    std::string signer_file, device_file;

    // "atecc608a" with certificate layout 1, or "trustx".
    explicit Device(const std::string &chip);

    std::string path(const std::string &name) const { return directory_.path() + "/" + name; }
    std::string put(const std::string &name, const std::string &text) const;
};

}  // namespace ostdrv::bench

#endif
