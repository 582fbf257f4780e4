// ostdrv eeprom: what the sensor module's EEPROM holds.
#include <ostdrv.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <sstream>

#include "command.hpp"
#include "families.hpp"

namespace ostdrv::tool {
namespace {

struct Options {
    std::string file, version = "s5l", sensor, lens, serial, directory, md5;
    std::vector<std::string> tables;
    bool yes = false, json = false;
} options;

constexpr std::size_t md5_size = 16;
// What a load writes beside the tables: their names in slot order, one in a line.
constexpr char list_name[] = "tables.txt";

// The library reports its stages on standard output, which is for results here.
class StagesOnStderr {
 public:
    StagesOnStderr() : kept_(redirect(STDERR_FILENO)) {}
    ~StagesOnStderr() {
        std::fflush(stdout);
        dup2(kept_, STDOUT_FILENO);
        close(kept_);
    }
    StagesOnStderr(const StagesOnStderr &) = delete;
    StagesOnStderr &operator=(const StagesOnStderr &) = delete;

 private:
    int kept_;

    static int redirect(int target) {
        std::cout.flush();
        std::fflush(stdout);
        const int kept = dup(STDOUT_FILENO);
        if (kept < 0 || dup2(target, STDOUT_FILENO) < 0) throw system_failure("cannot redirect standard output");
        return kept;
    }
};

const char *eeprom_meaning(int status) {
    switch (status) {
        case X_SENSOR_EEPROM_OK:
            return "the device failed";
        case X_SENSOR_EEPROM_ERR_EMPTY:
            return "a header setting is empty: the EEPROM is erased or was never stored";
        case X_SENSOR_EEPROM_ERR_DEVICE:
            return "no such EEPROM";
        case X_SENSOR_EEPROM_ERR_READ:
            return "it cannot be read or is damaged";
        case X_SENSOR_EEPROM_ERR_WRITE:
            return "it cannot be written, or the data does not fit";
        case X_SENSOR_EEPROM_ERR_TOO_LARGE:
            return "the tables are larger than the EEPROM";
        case X_SENSOR_EEPROM_ERR_PAYLOAD:
            return "the data is invalid; the version must be s5l";
        case X_SENSOR_EEPROM_ERR_HASH:
            return "the EEPROM holds other tables";
        case X_SENSOR_EEPROM_ERR_VERSION:
            return "the stored version is not s5l";
        default:
            return "unknown status";
    }
}

// Runs an operation on the EEPROM; the file is its first argument and the status its last.
template <typename Operation, typename... Arguments>
void run_operation(const char *what, Operation operation, Arguments... arguments) {
    int status = X_SENSOR_EEPROM_OK;
    const int result = [&] {
        const StagesOnStderr stages;
        return operation(options.file.c_str(), arguments..., &status);
    }();
    if (result == 0) return;
    const std::string text = std::string("cannot ") + what + " " + options.file + ": " + eeprom_meaning(status) +
                             " (status " + std::to_string(status) + ")";
    if (status == X_SENSOR_EEPROM_ERR_HASH) throw NotVerified(options.file + ": " + eeprom_meaning(status));
    throw Failure(text);
}

using Payload = std::unique_ptr<x_sensor_eeprom_payload, decltype(&x_sensor_eeprom_payload_free)>;

Payload make_payload() {
    Payload payload(x_sensor_eeprom_payload_init(), x_sensor_eeprom_payload_free);
    if (!payload) throw Failure("out of memory");
    return payload;
}

void set_header(x_sensor_eeprom_payload &payload, int id, const std::string &option, const std::string &text) {
    if (text.empty() || text.size() >= sizeof payload.header[id])
        throw BadUsage(option + " takes 1 to " + std::to_string(sizeof payload.header[id] - 1) + " characters");
    std::snprintf(payload.header[id], sizeof payload.header[id], "%s", text.c_str());
}

// A table's name is also the name of its file.
void name_slots(x_sensor_eeprom_payload &payload, const std::vector<std::string> &names) {
    if (names.size() > X_SENSOR_EEPROM_TABLES)
        throw BadUsage("at most " + std::to_string(X_SENSOR_EEPROM_TABLES) + " tables");
    for (std::size_t slot = 0; slot < names.size(); ++slot) {
        const std::string &name = names[slot];
        if (name.empty() || name.size() >= sizeof payload.tables[slot].name || name.find('/') != std::string::npos)
            throw BadUsage("'" + name + "' is no table name: 1 to 63 characters without a slash");
        if (std::count(names.begin(), names.end(), name) > 1) throw BadUsage("table " + name + " is given twice");
        std::snprintf(payload.tables[slot].name, sizeof payload.tables[slot].name, "%s", name.c_str());
    }
}

std::string table_path(const std::string &name) { return options.directory + "/" + name + ".bin"; }

std::span<const std::uint8_t> bytes_of(const x_sensor_eeprom_table &table) {
    return {table.data, static_cast<std::size_t>(table.length)};
}

Json header_json(const x_sensor_eeprom_payload &payload) {
    return {{"sensor", payload.header[X_SENSOR_EEPROM_HEADER_SENSOR]},
            {"version", payload.header[X_SENSOR_EEPROM_HEADER_VERSION]},
            {"lens", payload.header[X_SENSOR_EEPROM_HEADER_LENS]},
            {"sn", payload.header[X_SENSOR_EEPROM_HEADER_SN]},
            {"md5", to_hex(payload.hash)}};
}

void store() {
    const Payload payload = make_payload();
    set_header(*payload, X_SENSOR_EEPROM_HEADER_SENSOR, "--sensor", options.sensor);
    set_header(*payload, X_SENSOR_EEPROM_HEADER_VERSION, "--version", options.version);
    set_header(*payload, X_SENSOR_EEPROM_HEADER_LENS, "--lens", options.lens);
    set_header(*payload, X_SENSOR_EEPROM_HEADER_SN, "--sn", options.serial);

    std::vector<std::string> names, files;
    for (const std::string &table : options.tables) {
        const std::size_t equals = table.find('=');
        if (equals == std::string::npos) throw BadUsage("--table takes NAME=DATAFILE, not '" + table + "'");
        names.push_back(table.substr(0, equals));
        files.push_back(table.substr(equals + 1));
    }
    name_slots(*payload, names);
    for (std::size_t slot = 0; slot < files.size(); ++slot) {
        x_sensor_eeprom_table &table = payload->tables[slot];
        const Bytes data = read_file(files[slot]);
        if (data.empty() || data.size() > table.capacity)
            throw Failure(files[slot] + " has " + std::to_string(data.size()) + " bytes; a table has 1 to " +
                          std::to_string(table.capacity));
        std::ranges::copy(data, table.data);
        table.length = static_cast<std::int32_t>(data.size());
    }

    run_operation("store to", x_sensor_eeprom_store, payload.get());
    std::cout << to_hex(payload->hash) << "\n";
}

void load() {
    const Payload payload = make_payload();
    name_slots(*payload, options.tables);
    run_operation("load from", x_sensor_eeprom_load, payload.get());

    std::filesystem::create_directories(options.directory);
    std::string list;
    for (std::size_t slot = 0; slot < options.tables.size(); ++slot) {
        const std::string &name = options.tables[slot];
        const auto bytes = bytes_of(payload->tables[slot]);
        if (bytes.empty()) throw Failure(options.file + " holds no table in the place of " + name);
        write_file(table_path(name), bytes);
        list += name + "\n";
        std::cout << table_path(name) << ": " << bytes.size() << " bytes\n";
    }
    write_file(options.directory + "/" + list_name, {reinterpret_cast<const std::uint8_t *>(list.data()), list.size()});
}

void header() {
    const Payload payload = make_payload();
    run_operation("read the header of", x_sensor_eeprom_load_header, payload.get());
    const Json json = header_json(*payload);
    if (options.json) return print(json);
    for (const auto &[key, value] : json.items()) std::cout << key << ": " << value.get<std::string>() << "\n";
}

// The digest of the tables that a load has left in a directory.
Bytes digest_of_directory() {
    const Bytes list = read_file(options.directory + "/" + list_name);
    std::istringstream names(std::string(list.begin(), list.end()));
    x_sensor_eeprom_md5_ctx context;
    x_sensor_eeprom_md5_init(&context);
    for (std::string name; std::getline(names, name);) {
        const Bytes bytes = read_file(table_path(name));
        x_sensor_eeprom_md5_update(&context, bytes.data(), static_cast<unsigned int>(bytes.size()));
    }
    Bytes digest(md5_size);
    x_sensor_eeprom_md5_finalise(&context, digest.data());
    return digest;
}

void check() {
    if (options.md5.empty() == options.directory.empty()) throw BadUsage("give either --md5 or --from");
    const Bytes digest = options.md5.empty() ? digest_of_directory() : from_hex(options.md5, "--md5");
    if (digest.size() != md5_size) throw BadUsage("--md5 takes 32 hexadecimal digits");
    run_operation("check", x_sensor_eeprom_check_header, digest.data());
    std::cout << "the EEPROM holds these tables\n";
}

void reset() {
    confirm(options.yes, "This erases the whole EEPROM.");
    run_operation("erase", x_sensor_eeprom_reset);
}

CLI::App &file_command(CLI::App &group, const std::string &name, const std::string &description, void (*work)()) {
    CLI::App &command = subcommand(group, name, description);
    command.add_option("FILE", options.file, "The EEPROM's file")->required();
    command.callback(work);
    return command;
}

void add_store(CLI::App &group) {
    CLI::App &command = file_command(group, "store", "Store tables and header and print the tables' MD5", store);
    // Here --version is the data's.
    command.set_version_flag("");
    command.add_option("--version", options.version, "Version of the data")->type_name("TEXT")->capture_default_str();
    command.add_option("--sensor", options.sensor, "The sensor")->type_name("TEXT")->required();
    command.add_option("--lens", options.lens, "The lens")->type_name("TEXT")->required();
    command.add_option("--sn", options.serial, "The module's serial number")->type_name("TEXT")->required();
    command.add_option("--table", options.tables, "A table and its bytes; repeat it, the order is the slot order")
        ->type_name("NAME=DATAFILE")
        ->expected(1)
        ->take_all();
}

}  // namespace

void add_eeprom(CLI::App &app) {
    CLI::App &group = command_group(app, "eeprom", "The sensor module's EEPROM");
    add_store(group);

    CLI::App &load_command = file_command(group, "load", "Load tables into a directory, each as NAME.bin", load);
    load_command.add_option("--table", options.tables, "A table, in the order in which they were stored")
        ->type_name("NAME")
        ->expected(1)
        ->take_all();
    load_command.add_option("-o,--out", options.directory, "The directory")->type_name("DIR")->required();

    CLI::App &header_command = file_command(group, "header", "Print the header texts and the tables' MD5", header);
    add_json(header_command, options.json);

    CLI::App &check_command =
        file_command(group, "check", "Compare the header's MD5 with one that is known; only the header is read", check);
    check_command.add_option("--md5", options.md5, "The tables' MD5")->type_name("HEX");
    check_command.add_option("--from", options.directory, "A directory that load has written")->type_name("DIR");

    add_yes(file_command(group, "reset", "Erase everything", reset), options.yes);
}

}  // namespace ostdrv::tool
