// ostdrv info: what is fitted and how far its provisioning has come.
#include <ostdrv.h>

#include <iostream>

#include "chip.hpp"
#include "families.hpp"

namespace ostdrv::tool {
namespace {

bool zone_locked(int (*query)(std::uint8_t *), const std::string &zone) {
    std::uint8_t locked = 0;
    require(query(&locked), "read the lock of the " + zone);
    return locked != 0;
}

const char *model_name() {
    const int type = tpm_get_type();
    return type == 0 ? "ATECC508A" : type == 1 ? "ATECC608A" : "unknown";
}

std::string interface_name() {
    if (!g_atca_iface_cfg) return "none";
    if (g_atca_iface_cfg->iface_type == ATCA_HID_IFACE) return "USB kit";
    char text[64];
    std::snprintf(text, sizeof text, "I2C bus %u, address 0x%02X", g_atca_iface_cfg->atcai2c.bus,
                  g_atca_iface_cfg->atcai2c.slave_address >> 1);
    return text;
}

Json atecc_slots() {
    Json slots = Json::array();
    for (unsigned slot = 0; slot < static_cast<unsigned>(tpm_slot_count()); ++slot)
        slots.push_back({{"slot", slot}, {"locked", is_locked(Chip::atecc, slot)}});
    return slots;
}

Json trustx_objects() {
    Json objects = Json::array();
    for (const tpm_trustx_slot &slot : trustx_slots) {
        Json object = {{"object", slot_name(Chip::trustx, slot.object_id).substr(sizeof "object")},
                       {"kind", slot.flag ? "certificate" : "private key"},
                       {"locked", is_locked(Chip::trustx, slot.object_id)}};
        if (slot.flag) object["length"] = read_slot(Chip::trustx, slot.object_id).size();
        objects.push_back(object);
    }
    return objects;
}

// A chip that is not provisioned yet does not give its slots away.
Json if_readable(auto read) {
    try {
        return read();
    } catch (const Failure &) {
        return nullptr;
    }
}

Json describe(Chip chip) {
    Json info;
    if (chip == Chip::trustx) {
        info["chip"] = "Trust X";
    } else {
        info["chip"] = "ATECC";
        info["model"] = model_name();
        info["interface"] = interface_name();
        info["config_locked"] = zone_locked(tpm_is_config_locked, "configuration zone");
        info["data_locked"] = zone_locked(tpm_is_data_locked, "data zone");
    }
    info["layout_version"] = if_readable([] { return layout_version(); });
    info["serial_number"] = if_readable([] { return printable(serial_number()); });
    if (chip == Chip::trustx)
        info["objects"] = trustx_objects();
    else
        info["slots"] = atecc_slots();
    return info;
}

std::string shown(const Json &value) {
    if (value.is_null()) return "cannot be read";
    if (value.is_boolean()) return value.get<bool>() ? "locked" : "open";
    return value.is_string() ? value.get<std::string>() : value.dump();
}

void print_row(const std::string &name, const std::string &text) {
    std::cout << name << std::string(name.size() < 18 ? 18 - name.size() : 1, ' ') << text << "\n";
}

std::string locked_slots(const Json &slots) {
    std::string numbers;
    for (const Json &slot : slots)
        if (slot["locked"].get<bool>()) numbers += (numbers.empty() ? "" : " ") + slot["slot"].dump();
    return numbers.empty() ? "none" : numbers;
}

std::string object_text(const Json &object) {
    std::string text = shown(object["locked"]) + ", " + shown(object["kind"]);
    if (!object.contains("length")) return text;
    return text + (object["length"] == 0 ? ", empty" : " of " + object["length"].dump() + " bytes");
}

void print_text(const Json &info) {
    static constexpr std::pair<const char *, const char *> rows[] = {{"chip", "chip"},
                                                                     {"model", "model"},
                                                                     {"interface", "interface"},
                                                                     {"config_locked", "configuration"},
                                                                     {"data_locked", "data zone"},
                                                                     {"layout_version", "layout version"},
                                                                     {"serial_number", "serial number"}};
    for (const auto &[key, name] : rows)
        if (info.contains(key)) print_row(name, shown(info[key]));
    if (info.contains("slots")) print_row("locked slots", locked_slots(info["slots"]));
    for (const Json &object : info.value("objects", Json::array()))
        print_row("object " + shown(object["object"]), object_text(object));
}

}  // namespace

void add_info(CLI::App &app) {
    CLI::App &command = subcommand(app, "info", "Show the secure element, its locks, layout version and serial number");
    static bool json;
    add_json(command, json);
    command.callback([] {
        const Json info = describe(connect());
        json ? print(info) : print_text(info);
    });
}

}  // namespace ostdrv::tool
