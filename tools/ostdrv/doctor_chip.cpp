// What the doctor looks for around the secure element. The chip itself is not asked: the library decides which one is
// fitted at its first question, for good.
#include <fcntl.h>
#include <link.h>
#include <ostdrv.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "attribute.hpp"
#include "bytes.hpp"
#include "error.hpp"
#include "finding.hpp"
#include "secure_element/chip_map.hpp"
#include "secure_element/i2c_probe.hpp"
#include "words.hpp"

namespace ostdrv::tool {
namespace {

const std::string settings = "/mnt/settings", device_tree = "/proc/device-tree/";

bool exists(const std::string &path) { return x_sysfs_exists(path.c_str()) == 0; }

bool has_marker(const std::string &chip) { return access((settings + "/" + chip).c_str(), R_OK) == 0; }

// A 32-bit cell of the device tree. A Failure when it is one that the library takes otherwise than it was meant.
std::optional<int> cell(const std::string &property, unsigned most) {
    const std::string path = device_tree + property;
    if (!exists(path)) return std::nullopt;
    const std::string bytes = read_attribute(path);
    if (bytes.size() < 4)
        throw Failure(path + " has " + std::to_string(bytes.size()) + " bytes: less than a cell counts as absent");
    unsigned value = 0;
    for (const char byte : bytes.substr(0, 4)) value = value << 8 | static_cast<unsigned char>(byte);
    if (value > most) throw Failure(path + " holds " + std::to_string(value) + ", more than " + std::to_string(most));
    return static_cast<int>(value);
}

struct Place {
    int bus = atecc::i2c_bus, address = atecc::i2c_address;

    bool operator==(const Place &) const = default;
    std::string node() const { return "/dev/i2c-" + std::to_string(bus); }
    std::string text() const {
        return "I2C bus " + std::to_string(bus) + ", address " + hexadecimal(static_cast<unsigned>(address), 2);
    }
};

// Detection looks at the default place; whoever starts the chip, where the device tree says.
const Place default_place;
Place tree_place() {
    return {.bus = cell("tpm-i2c-bus", 255).value_or(default_place.bus),
            .address = cell("tpm-i2c-address", 127).value_or(default_place.address)};
}
bool may_be_on_usb_kit() { return cell("tpm-use-usb", 255).value_or(0) != 0; }

Finding look_for_place() {
    if (!expects_chip())
        return absent(
            "there is no marker in " + settings + ", no tpm- property in the device tree, no " + default_place.node(),
            "i2c-dev, the node of the bus, and the properties of a board that has a secure element");
    const Place place = tree_place();
    return ok("an ATECC is expected at " + place.text() + (may_be_on_usb_kit() ? ", else on the USB kit" : ""));
}

Finding look_at_settings() {
    const std::string to_do = "a file system that lasts at " + settings + ", which the user may write";
    if (access(settings.c_str(), W_OK | X_OK) != 0)
        return fault(system_failure("cannot write in " + settings).what() +
                         std::string(": which chip is fitted cannot be remembered"),
                     to_do);
    if (has_marker("atecc") && has_marker("trustx"))
        return fault("there are both markers, atecc and trustx, in " + settings + ": the first one is followed",
                     "remove the one whose chip is not fitted");
    const std::string marker = remembered_chip();
    return ok(marker.empty() ? "no chip is remembered yet in " + settings + ": the first program looks for one"
                             : "the marker " + settings + "/" + marker + " says which chip is fitted");
}

Finding look_for_commands() {
    Words missing;
    for (const char *command : {"/bin/cat", "/bin/touch", "/bin/rm"})
        if (access(command, X_OK) != 0) missing.emplace_back(command);
    if (missing.empty()) return ok("/bin/cat, /bin/touch and /bin/rm are there");
    return fault("there is no " + joined(missing) + ": which chip is fitted cannot be remembered",
                 "coreutils or busybox in the image, at these paths");
}

Finding look_at_bus() {
    const bool is_atecc = remembered_chip() == "atecc";
    const std::string node = (is_atecc ? tree_place() : default_place).node();
    const std::string refused = refusal(node, O_RDWR);
    if (refused.empty()) return ok(node + " can be opened");
    if (remembered_chip() == "trustx" || (is_atecc && may_be_on_usb_kit()))
        return absent(refused, "nothing: the marker has decided for a chip that needs no bus here");
    return fault(refused, remedy(node,
                                 "CONFIG_I2C_CHARDEV or the module i2c-dev, and the bus's number by an alias "
                                 "i2cN in the device tree, before the first program asks for the chip"));
}

constexpr char search[] = "power, wiring and address of the chip; 'i2cdetect -y BUS' shows who answers";

Finding look_for_answer() {
    const std::string marker = remembered_chip();
    const auto answers = [](const Place &place) { return answers_on_i2c(place.bus, place.address); };
    if (marker == "atecc") {
        const Place place = tree_place();
        if (answers(place)) return ok("something answers at " + place.text());
        const std::string silent = "nothing answers at " + place.text() + " (" + std::strerror(errno) + ")";
        if (may_be_on_usb_kit())
            return absent(silent, "nothing, if the ATECC is on the USB kit: 'ostdrv info' asks it");
        return fault(silent, std::string(search) + "; with a Trust X instead, remove " + settings + "/atecc");
    }
    if (answers(default_place)) {
        if (marker == "trustx")
            return fault("something answers at " + default_place.text() + ", but the marker says Trust X",
                         "remove " + settings + "/trustx if that is an ATECC: a first detection came too early");
        if (tree_place() == default_place || answers(tree_place()))
            return ok("something answers at " + default_place.text() + ": the first program takes it for an ATECC");
        return fault("something answers at " + default_place.text() + ", and is then driven at " + tree_place().text() +
                         ", where nothing does",
                     "tpm-i2c-bus and tpm-i2c-address in the device tree");
    }
    const std::string silent = "nothing answers at " + default_place.text() + " (" + std::strerror(errno) + ")";
    if (marker == "trustx") return ok(silent + ", as the marker says; 'ostdrv info' asks the Trust X");
    if (tree_place() != default_place || may_be_on_usb_kit())
        return fault(silent + ", where the first program looks: it takes the chip for a Trust X",
                     "'touch " + settings + "/atecc' in the image of a board whose ATECC is elsewhere");
    return absent(silent + ": the first program takes the chip for a Trust X and remembers that",
                  "nothing for a Trust X; for an ATECC, " + std::string(search));
}

Finding look_for_usb_kit() {
    if (!may_be_on_usb_kit())
        return absent("i2cget is not asked for: tpm-use-usb is not set in the device tree",
                      "nothing, unless there is a USB kit");
    if (!runs_in_shell("command -v i2cget"))
        return fault("there is no i2cget in the PATH: the USB kit is always taken", "i2c-tools in the image");
    // In the background a command succeeds whatever it does.
    if (std::system("false &>/dev/null") == 0)
        return fault("/bin/sh takes '&>' for '&' and '>': the USB kit is never taken", "bash or busybox as /bin/sh");
    return ok("i2cget decides between bus and USB kit");
}

Finding look_at_libraries() {
    constexpr auto is_stand_in = [](dl_phdr_info *library, std::size_t, void *) {
        return static_cast<int>(std::strstr(library->dlpi_name, "/libostdrv-sim.so") != nullptr);
    };
    if (dl_iterate_phdr(is_stand_in, nullptr) != 0)
        return ok("simulated chips, whose keys lie in plain files: never for a product");
    return ok("the platform's own");
}

}  // namespace

std::string remembered_chip() { return has_marker("atecc") ? "atecc" : has_marker("trustx") ? "trustx" : ""; }

bool expects_chip() {
    return !remembered_chip().empty() || !names_in(device_tree, "tpm-").empty() || exists(default_place.node());
}

Family chip_family() {
    return {"chip",
            {{"place", look_for_place},
             {"settings", look_at_settings},
             {"commands", look_for_commands},
             {"bus", look_at_bus},
             {"answer", look_for_answer},
             {"usb_kit", look_for_usb_kit},
             {"libraries", look_at_libraries}}};
}

}  // namespace ostdrv::tool
