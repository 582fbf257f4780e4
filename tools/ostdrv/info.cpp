// ostdrv info: what is fitted and how far its provisioning has come.
#include <ostdrv.h>

#include "chip.hpp"
#include "families.hpp"
#include "output.hpp"

namespace ostdrv::tool {
namespace {

// Nothing where the chip does not give it away: one that is not provisioned, or that fails.
Value if_readable(auto read) {
    try {
        return read();
    } catch (const Failure &) {
        return nullptr;
    }
}

Value zone_locked(int (*query)(std::uint8_t *)) {
    std::uint8_t locked = 0;
    if (query(&locked) != TPM_OK) return nullptr;
    return locked != 0;
}

const char *model_name() {
    const int type = tpm_get_type();
    return type == TPM_MODEL_ATECC508A ? "ATECC508A" : type == TPM_MODEL_ATECC608A ? "ATECC608A" : "unknown";
}

Value locked(Chip chip, unsigned slot) {
    return if_readable([=] { return is_locked(chip, slot); });
}

std::vector<Record> atecc_slots() {
    std::vector<Record> slots;
    for (unsigned slot = 0; slot < atecc::slot_count; ++slot)
        slots.push_back({{"slot", slot}, {"locked", locked(Chip::atecc, slot)}});
    return slots;
}

std::vector<Record> trustx_objects() {
    std::vector<Record> objects;
    for (const tpm_trustx_slot &slot : trustx_slots) {
        Record object = {{"object", object_name(slot.object_id)},
                         {"kind", slot.flag ? "certificate" : "private key"},
                         {"locked", locked(Chip::trustx, slot.object_id)}};
        if (slot.flag)
            object.push_back({"length", if_readable([&] { return read_slot(Chip::trustx, slot.object_id).size(); })});
        objects.push_back(object);
    }
    return objects;
}

Value stored_serial_number() {
    const std::optional<Bytes> serial = serial_number();
    if (!serial) return nullptr;
    return printable(*serial);
}

Value stored_layout() {
    if (!serial_number()) return nullptr;
    return layout_version();
}

Record describe(const Fitted &fitted) {
    const bool is_trustx = fitted.chip == Chip::trustx;
    Record info = {
        {"chip", is_trustx ? "Trust X" : "ATECC"}, {"answers", fitted.answers}, {"decided_by", fitted.decided_by}};
    const auto add = [&info](const char *name, Value value) { info.push_back({name, std::move(value)}); };
    if (!fitted.place.empty()) add("interface", fitted.place);
    if (!fitted.answers) return info;
    if (!is_trustx) {
        add("model", model_name());
        add("config_locked", zone_locked(tpm_is_config_locked));
        add("data_locked", zone_locked(tpm_is_data_locked));
    }
    add("layout_version", if_readable(stored_layout));
    add("serial_number", if_readable(stored_serial_number));
    is_trustx ? add("objects", trustx_objects()) : add("slots", atecc_slots());
    return info;
}

// ---- As text

const Value *find(const Record &record, std::string_view name) {
    for (const Field &field : record)
        if (field.name == name) return &field.value;
    return nullptr;
}

std::string shown(const Value *value, const char *nothing = "cannot be read") {
    if (const auto *truth = std::get_if<bool>(value)) return *truth ? "locked" : "open";
    if (const auto *number = std::get_if<std::int64_t>(value)) return std::to_string(*number);
    if (const auto *text = std::get_if<std::string>(value)) return *text;
    return nothing;
}

std::string row(const std::string &name, const std::string &text) {
    return name + std::string(name.size() < 18 ? 18 - name.size() : 1, ' ') + text + "\n";
}

std::string locked_slots(const std::vector<Record> &slots) {
    Words numbers;
    for (const Record &slot : slots)
        if (shown(find(slot, "locked")) == "locked") numbers.push_back(shown(find(slot, "slot")));
    return numbers.empty() ? "none" : joined(numbers, " ");
}

std::string object_text(const Record &object) {
    const std::string text = shown(find(object, "locked")) + ", " + shown(find(object, "kind"));
    const Value *const length = find(object, "length");
    if (!length) return text;
    const std::string bytes = shown(length);
    return text + (bytes == "0" ? ", empty" : " of " + bytes + " bytes");
}

std::string next_step(Chip chip) {
    switch (provisioning(chip)) {
        case Provisioning::none:
            return "not provisioned: run 'ostdrv provision'";
        case Provisioning::half:
            return "half provisioned: run 'ostdrv provision' again";
        case Provisioning::complete:
            break;
    }
    return has_device_key(chip) ? "provisioned, with a device key" : "provisioned, without a device key";
}

std::string as_text(const Record &info, const Fitted &fitted) {
    std::string text = row("chip", shown(find(info, "chip")) + (fitted.answers ? "" : ", which does not answer")) +
                       row("decided by", fitted.decided_by);
    const auto add = [&](const char *key, const char *name, const char *nothing = "cannot be read") {
        if (const Value *const value = find(info, key)) text += row(name, shown(value, nothing));
    };
    add("interface", "interface");
    add("model", "model");
    add("config_locked", "configuration");
    add("data_locked", "data zone");
    if (fitted.answers) text += row("state", next_step(fitted.chip));
    add("serial_number", "serial number", "none yet");
    add("layout_version", "layout version", "none yet");
    if (const Value *const slots = find(info, "slots"))
        text += row("locked slots", locked_slots(std::get<std::vector<Record>>(*slots)));
    if (const Value *const objects = find(info, "objects"))
        for (const Record &object : std::get<std::vector<Record>>(*objects))
            text += row("object " + shown(find(object, "object")), object_text(object));
    text.pop_back();
    return text;
}

Output output;

void show() {
    const Fitted fitted = find_chip();
    const Record info = describe(fitted);
    output.print(info, as_text(info, fitted));
    if (!fitted.answers) throw Failure(no_answer(fitted));
}

}  // namespace

void add_info(Command &program) {
    Command &command =
        program.add_command("info", "Show the secure element, its locks, layout version and serial number");
    output.add_to(command);
    command.examples({"ostdrv info", "ostdrv info --json"});
    command.action(show);
}

}  // namespace ostdrv::tool
