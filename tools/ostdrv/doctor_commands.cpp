// What the doctor looks for among the commands that the library runs.
#include <ostdrv.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>

#include "attribute.hpp"
#include "error.hpp"
#include "finding.hpp"
#include "support/owned.hpp"

namespace ostdrv::tool {
namespace {

Finding look_for_shell() {
    constexpr int told_to = 3;
    const int status = x_shell_exec("exit %d", told_to);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != told_to)
        return fault("/bin/sh does not run commands", "a POSIX shell at /bin/sh");
    std::error_code error;
    const auto target = std::filesystem::canonical("/bin/sh", error);
    return ok("/bin/sh runs commands" + (error ? "" : ", it is " + target.string()));
}

Finding look_for_pgrep() {
    if (!runs_in_shell("command -v pgrep"))
        return fault("there is no pgrep in the PATH", "procps in the image, or a busybox that has pgrep");
    std::string name = read_attribute("/proc/self/comm");
    name.pop_back();
    if (x_shell_get_process_pid(name.c_str()) == -1)
        return fault("pgrep -xl does not find this process, '" + name + "'",
                     "/proc mounted without hidepid, and a pgrep that knows -x and -l");
    return ok("pgrep finds processes");
}

Finding look_for_openssl() {
    if (!expects_chip() || remembered_chip() == "trustx")
        return absent("openssl is not asked for: it takes the certificates of an ATECC apart",
                      "nothing, unless an ATECC is fitted");
    const Owned<FILE *, pclose> output(x_shell_popen("printf '0\\000' | /usr/bin/openssl asn1parse -inform DER"));
    std::array<char, 256> line{};
    if (!output || !std::fgets(line.data(), line.size(), output.get()) ||
        !std::string_view(line.data()).starts_with("    0:d=0  hl=2 l=   0 cons: SEQUENCE"))
        return fault("/usr/bin/openssl asn1parse does not list an empty sequence",
                     "the openssl command at this path: without it no certificate is saved on an ATECC");
    return ok("/usr/bin/openssl asn1parse lists certificates");
}

Finding look_for_scratch_directory() {
    if (access("/tmp", W_OK | X_OK) != 0)
        return fault(system_failure("cannot write in /tmp").what(), "a /tmp of mode 1777, or one of the service's own");
    struct statvfs room = {};
    if (statvfs("/tmp", &room) == 0 && room.f_bavail == 0)
        return fault("/tmp is full", "room for two files of a few kilobytes");
    return ok("/tmp can be written");
}

}  // namespace

bool runs_in_shell(const std::string &command) { return x_shell_exec("%s", command.c_str()) == 0; }

Family shell_family() { return {"shell", {{"sh", look_for_shell}, {"pgrep", look_for_pgrep}}}; }

Family cert_family() { return {"cert", {{"openssl", look_for_openssl}, {"tmp", look_for_scratch_directory}}}; }

}  // namespace ostdrv::tool
