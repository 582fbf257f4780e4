// ostdrv eeprom: what the sensor module's EEPROM holds.
#include <ostdrv.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "consent.hpp"
#include "eeprom_access.hpp"
#include "families.hpp"
#include "files.hpp"
#include "output.hpp"
#include "table_directory.hpp"

namespace ostdrv::tool {
namespace {

struct Options {
    std::string file, version = X_SENSOR_EEPROM_LAYOUT_VERSION, sensor, lens, serial, directory, md5;
    std::vector<std::string> tables;
    bool overwrite = false, repair = false;
    Output output;
    Consent consent;
    LibraryOutput library_output;
} options;

Eeprom open_eeprom() { return Eeprom(options.file, options.library_output); }

// A table's name is also the name of its file.
void check_names(const std::vector<std::string> &names) {
    if (names.size() > X_SENSOR_EEPROM_TABLES)
        throw BadUsage("at most " + std::to_string(X_SENSOR_EEPROM_TABLES) + " tables");
    for (const std::string &name : names) {
        const bool fits = !name.empty() && name.size() < sizeof x_sensor_eeprom_table::name;
        if (!fits || std::ranges::any_of(name, [](char c) { return c == '/' || c == '\n'; }))
            throw BadUsage("'" + name + "' is no table name: 1 to 63 characters without a slash");
        if (std::ranges::count(names, name) > 1) throw BadUsage("table " + name + " is given twice");
    }
}

// ---- store

// What is handed in.
struct Calibration {
    std::vector<std::string> names;
    std::vector<Bytes> tables;

    std::size_t size() const {
        std::size_t total = 0;
        for (const Bytes &table : tables) total += table.size();
        return total;
    }
};

Bytes read_table(const std::string &file) {
    Bytes bytes = read_file(file, X_SENSOR_EEPROM_TABLE_CAPACITY);
    if (bytes.empty())
        throw Failure(file + " is empty; a table has 1 to " + std::to_string(X_SENSOR_EEPROM_TABLE_CAPACITY) +
                      " bytes");
    if (std::ranges::count(bytes, 0) == static_cast<std::ptrdiff_t>(bytes.size()))
        throw Failure(file + " holds nothing but zeros, and a load takes such a table for one that is missing");
    return bytes;
}

Calibration calibration() {
    Calibration calibration;
    std::vector<std::string> files;
    for (const std::string &table : options.tables) {
        const std::size_t equals = table.find('=');
        if (equals == std::string::npos || equals == table.size() - 1)
            throw BadUsage("--table takes NAME=DATAFILE, not '" + table + "'");
        calibration.names.push_back(table.substr(0, equals));
        files.push_back(table.substr(equals + 1));
    }
    check_names(calibration.names);
    for (const std::string &file : files) calibration.tables.push_back(read_table(file));
    return calibration;
}

void set_header(x_sensor_eeprom_payload &payload, int id, const std::string &option, const std::string &text) {
    if (text.size() >= sizeof payload.header[id])
        throw BadUsage(option + " takes 1 to " + std::to_string(sizeof payload.header[id] - 1) + " characters");
    std::snprintf(payload.header[id], sizeof payload.header[id], "%s", text.c_str());
}

void set_headers(x_sensor_eeprom_payload &payload) {
    if (options.version != X_SENSOR_EEPROM_LAYOUT_VERSION)
        throw BadUsage("--version: '" + options.version +
                       "' is not " X_SENSOR_EEPROM_LAYOUT_VERSION ", the only version there is");
    set_header(payload, X_SENSOR_EEPROM_HEADER_SENSOR, "--sensor", options.sensor);
    set_header(payload, X_SENSOR_EEPROM_HEADER_VERSION, "--version", options.version);
    set_header(payload, X_SENSOR_EEPROM_HEADER_LENS, "--lens", options.lens);
    set_header(payload, X_SENSOR_EEPROM_HEADER_SN, "--sn", options.serial);
}

void set_tables(x_sensor_eeprom_payload &payload, const Calibration &calibration) {
    for (std::size_t slot = 0; slot < calibration.tables.size(); ++slot) {
        x_sensor_eeprom_table &table = payload.tables[slot];
        const Bytes &bytes = calibration.tables[slot];
        std::snprintf(table.name, sizeof table.name, "%s", calibration.names[slot].c_str());
        std::ranges::copy(bytes, table.data);
        table.length = static_cast<std::int32_t>(bytes.size());
    }
}

// Whether what is there may be replaced, and what stands in the way is erased. The EEPROM keeps no names, so tables of
// other names cannot be told from new contents of the same: whatever is not what is handed in counts as somebody's.
void make_way(const Eeprom &eeprom, const x_sensor_eeprom_payload &payload, const Calibration &calibration) {
    const EepromContent content = eeprom.content(calibration.names);
    const bool header_damaged = content.header_region == Region::damaged;
    if (header_damaged && content.table_region != Region::whole)
        throw Failure(options.file +
                      " holds something that no store has written; reset it first: 'ostdrv eeprom reset " +
                      options.file + "'");
    if (header_damaged || content.table_region == Region::damaged) {
        if (!options.repair)
            throw Failure(std::string("the ") + (header_damaged ? "header" : "tables") + " of " + options.file +
                          " cannot be read, as after a store that was cut off; --repair erases all of it first");
        return eeprom.erase();
    }
    const bool headed = content.header_region == Region::whole;
    if (!headed && content.table_region == Region::blank) return;
    EepromHeader wanted = header_of(payload);
    wanted.md5 = md5_of(calibration.tables);
    const bool same = content.tables() == calibration.tables && (!headed || content.header == wanted);
    if (same || options.overwrite) return;
    throw Failure(options.file + " holds " + content.tables_text() +
                  (headed ? " of the module with serial number " + content.header.sn : " and no header") +
                  "; --overwrite replaces them");
}

// A part that is write-protected may acknowledge every byte and keep its cells.
void check_stored(const Eeprom &eeprom, const x_sensor_eeprom_payload &stored, const Calibration &calibration) {
    const std::string doubt = "; is it write-protected?";
    for (std::size_t slot = 0; slot < calibration.tables.size(); ++slot) {
        const x_sensor_eeprom_table &table = stored.tables[slot];
        if (!std::ranges::equal(calibration.tables[slot], Bytes(table.data, table.data + table.length)))
            throw Failure(options.file + " took table " + calibration.names[slot] + " and gives back something else" +
                          doubt);
    }
    const Payload header;
    const Outcome loaded = eeprom.run("reading the header of", [&](const char *file, int *status) {
        return x_sensor_eeprom_load_header(file, header.get(), status);
    });
    if (!loaded || header_of(*header) != header_of(stored))
        throw Failure(options.file + " took the header and gives back something else" + doubt);
}

void store() {
    const Payload payload;
    set_headers(*payload);
    const Calibration calibration = tool::calibration();
    set_tables(*payload, calibration);

    const Eeprom eeprom = open_eeprom();
    make_way(eeprom, *payload, calibration);
    const Outcome stored = eeprom.run("storing to", [&](const char *file, int *status) {
        return x_sensor_eeprom_store(file, payload.get(), status);
    });
    if (!stored && stored.error == 0 && stored.status != X_SENSOR_EEPROM_ERR_READ)
        throw Failure("the tables do not fit: " + std::to_string(calibration.size()) + " bytes, and what is kept " +
                      "beside them, into the " + std::to_string(eeprom.size()) + " of " + options.file);
    if (!stored && stored.error == 0)
        throw Failure("what was stored cannot be read back from " + options.file + "; is it write-protected?");
    if (!stored) throw Failure("storing to " + options.file + " failed: " + stored.reason());
    check_stored(eeprom, *payload, calibration);
    options.output.print({{"md5", to_hex(payload->hash)}}, to_hex(payload->hash));
}

// ---- What reads

std::string header_doubt(const EepromContent &content) {
    switch (content.header_region) {
        case Region::blank:
            return "no header says that these tables are whole";
        case Region::damaged:
            return "the header cannot be read, nothing says that these tables are whole";
        default:
            return "the MD5 in the header is not that of the tables";
    }
}

void require_tables(const EepromContent &content) {
    if (content.table_region == Region::damaged)
        throw Failure("the tables of " + options.file + " are damaged, or were not written by a store");
    if (content.stored.empty()) throw Failure(options.file + " holds no table");
}

void load() {
    const std::vector<std::string> &names = options.tables;
    check_names(names);
    if (options.directory == "-") throw BadUsage("--out takes a directory");
    const EepromContent content = open_eeprom().content(names);
    require_tables(content);
    if (names.size() != content.stored.size())
        throw Failure(options.file + " holds " + content.tables_text() + ", not " + std::to_string(names.size()) +
                      "; name each, in slot order");
    if (!content.is_verified()) options.consent.object(options.file + ": " + header_doubt(content));

    const TableDirectory directory(options.directory);
    directory.write(names, content.tables());
    for (std::size_t i = 0; i < names.size(); ++i) {
        const StoredTable &table = content.stored[i];
        const std::string file = directory.file_of(names[i]);
        options.output.print_next(
            {{"table", names[i]}, {"slot", table.slot}, {"file", file}, {"length", table.bytes.size()}},
            file + ": " + std::to_string(table.bytes.size()) + " bytes");
    }
}

// One thing a line, "NAME: VALUE".
std::string lines_of(const Record &record) {
    std::string text;
    for (const auto &[name, value] : record)
        if (const auto *const line = std::get_if<std::string>(&value)) text += name + ": " + *line + "\n";
    return text;
}

Record header_record(const EepromHeader &header) {
    return {{"sensor", header.sensor},
            {"version", header.version},
            {"lens", header.lens},
            {"sn", header.sn},
            {"md5", to_hex(header.md5)}};
}

void header() {
    const Payload payload;
    open_eeprom().require("reading the header of", [&](const char *file, int *status) {
        return x_sensor_eeprom_load_header(file, payload.get(), status);
    });
    const Record record = header_record(header_of(*payload));
    const std::string text = lines_of(record);
    options.output.print(record, text.substr(0, text.size() - 1));
}

std::string state_of(Region region) {
    return std::vector<std::string>{"erased", "whole", "damaged"}[static_cast<std::size_t>(region)];
}

// Whatever can be read is shown, and then what is wrong.
void list() {
    const EepromContent content = open_eeprom().content();
    Record record{{"header", state_of(content.header_region)}};
    if (content.header_region == Region::whole)
        for (const Field &field : header_record(content.header)) record.push_back(field);
    std::string text = lines_of(record) + "tables: " + state_of(content.table_region);
    std::vector<Record> tables;
    for (const auto &[slot, bytes] : content.stored) {
        const std::string md5 = to_hex(md5_of({bytes}));
        tables.push_back({{"slot", slot}, {"length", bytes.size()}, {"md5", md5}});
        text += "\nslot " + std::to_string(slot) + ": " + std::to_string(bytes.size()) + " bytes, MD5 " + md5;
    }
    record.push_back({"tables", tables});
    record.push_back({"verified", content.is_verified()});
    options.output.print(record, text);
    if (content.header_region == Region::damaged || content.table_region == Region::damaged)
        throw Failure(options.file + " is damaged, or was not written by a store");
    if (content.table_region == Region::whole && !content.is_verified())
        throw NotVerified(options.file + ": " + header_doubt(content));
}

// The header may have the digest of tables that are no longer there.
void check() {
    const Bytes digest =
        options.md5.empty() ? md5_of(TableDirectory(options.directory).read()) : from_hex(options.md5, "--md5");
    if (digest.size() != md5_size) throw BadUsage("--md5 takes 32 hexadecimal digits");
    const Eeprom eeprom = open_eeprom();
    const Outcome outcome = eeprom.run("checking", [&](const char *file, int *status) {
        return x_sensor_eeprom_check_header(file, digest.data(), status);
    });
    const bool compared = outcome || outcome.status == X_SENSOR_EEPROM_ERR_HASH;
    if (!compared) throw Failure("checking " + options.file + " failed: " + outcome.reason());
    std::string no = options.file + " holds other tables";
    bool verified = static_cast<bool>(outcome);
    if (verified) {
        const EepromContent content = eeprom.content();
        verified = content.table_region != Region::damaged && content.is_verified();
        no = options.file + " has the header of these tables, but " +
             (content.table_region == Region::damaged ? "the tables themselves are damaged" : "holds other tables");
    }
    options.output.print_verdict(verified, "the EEPROM holds these tables", no);
}

void reset() {
    const Eeprom eeprom = open_eeprom();
    const std::string what = "This erases all " + std::to_string(eeprom.size()) + " bytes of " + options.file + ".";
    if (options.consent.agreed(what)) eeprom.erase();
}

// ---- Commands

Command &file_command(Command &group, const std::string &name, const std::string &description, void (*work)()) {
    Command &command = group.add_command(name, description);
    command.add_text("FILE", options.file, "The EEPROM's file").required();
    options.library_output.add_to(command);
    command.action(work);
    return command;
}

void add_store(Command &group) {
    Command &command = file_command(
        group, "store", "Store tables and header, compare what comes back, and print the tables' MD5", store);
    // Here --version is the data's.
    command.without_version();
    command.add_text("--version", options.version, "Version of the data, else " + options.version).form("TEXT");
    command.add_text("--sensor", options.sensor, "The sensor").form("TEXT").required();
    command.add_text("--lens", options.lens, "The lens").form("TEXT").required();
    command.add_text("--sn", options.serial, "The module's serial number").form("TEXT").required();
    command
        .add_texts("--table", options.tables,
                   "A table and its bytes; repeat it, the order is the slot order. The name is not kept")
        .form("NAME=DATAFILE")
        .required();
    command.add_flag("--overwrite", options.overwrite, "Replace the other tables or header that the EEPROM holds");
    command.add_flag("--repair", options.repair, "Erase first what a store that was cut off has left");
    options.output.add_to(command);
    command.examples(
        {"ostdrv eeprom store /sys/bus/i2c/devices/1-0050/eeprom --sensor S1 --lens L1 --sn 42 \\\n"
         "      --table gain=gain.bin --table shading=shading.bin"});
}

}  // namespace

void add_eeprom(Command &program) {
    Command &group = program.add_command("eeprom", "The sensor module's EEPROM");
    add_store(group);

    Command &load_command = file_command(group, "load", "Load the tables into a directory, each as NAME.bin", load);
    load_command.add_texts("--table", options.tables, "A table; repeat it for each, in slot order")
        .form("NAME")
        .required();
    load_command.add_text("-o,--out", options.directory, "The directory").form("DIR").required();
    options.consent.add_force_to(load_command);
    options.output.add_to(load_command);
    load_command.examples({"ostdrv eeprom load eeprom.bin --table gain --table shading --out loaded"});

    Command &list_command = file_command(group, "list", "Print what the EEPROM holds, as far as it can be read", list);
    options.output.add_to(list_command);
    list_command.examples({"ostdrv eeprom list eeprom.bin", "ostdrv eeprom list eeprom.bin --json"});

    Command &header_command = file_command(group, "header", "Print the header texts and the tables' MD5", header);
    options.output.add_to(header_command);
    header_command.examples({"ostdrv eeprom header eeprom.bin"});

    Command &check_command =
        file_command(group, "check", "Tell whether the EEPROM holds the tables of an MD5 that is known", check);
    Option &md5 = check_command.add_text("--md5", options.md5, "The tables' MD5").form("HEX");
    Option &from = check_command.add_text("--from", options.directory, "A directory that load has written").form("DIR");
    check_command.require_either(md5, from);
    options.output.add_to(check_command);
    check_command.examples({"ostdrv eeprom check eeprom.bin --from loaded"});

    Command &reset_command = file_command(group, "reset", "Erase everything", reset);
    options.consent.add_to(reset_command);
    reset_command.examples({"ostdrv eeprom reset eeprom.bin"});
}

}  // namespace ostdrv::tool
