#include "finding.hpp"

#include <grp.h>
#include <ostdrv.h>
#include <pwd.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

#include "error.hpp"
#include "support/file_descriptor.hpp"

namespace ostdrv::tool {
namespace {

std::string owners(const std::string &path) {
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) return "";
    const passwd *const user = getpwuid(status.st_uid);
    const group *const users = getgrgid(status.st_gid);
    char mode[8];
    std::snprintf(mode, sizeof mode, "%04o", status.st_mode & 07777U);
    return "; it is " + (user ? std::string(user->pw_name) : std::to_string(status.st_uid)) + ":" +
           (users ? std::string(users->gr_name) : std::to_string(status.st_gid)) + ", mode " + mode;
}

}  // namespace

std::string refusal(const std::string &path, int flags) {
    if (FileDescriptor(path.c_str(), flags)) return "";
    const bool is_denied = errno == EACCES || errno == EPERM;
    const std::string reason = system_failure("cannot open " + path).what();
    return is_denied ? reason + owners(path) : reason;
}

std::string remedy(const std::string &path, const std::string &provider) {
    errno = 0;
    if (x_sysfs_exists(path.c_str()) != 0 && errno != EACCES) return provider;
    return "give its group the rights with a udev rule such as 60-ostdrv.rules, and put the user into the group";
}

}  // namespace ostdrv::tool
