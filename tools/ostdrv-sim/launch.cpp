#include "launch.hpp"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "core/board_state.hpp"
#include "error.hpp"

namespace ostdrv::tool {
namespace {

namespace fs = std::filesystem;

// Installed, a library lies where CMake's install directories put it; in the build tree where it was built.
fs::path board_library(const std::string &name) {
    const fs::path here = fs::read_symlink("/proc/self/exe").parent_path();
    for (const char *place : {OSTDRV_BOARD_BESIDE_INSTALLED, OSTDRV_BOARD_BESIDE_BUILT}) {
        fs::path library = (here / place / name).lexically_normal();
        if (fs::exists(library)) return library;
    }
    throw Failure(name + " is not where it was installed, seen from " + here.string());
}

// A sanitizer must be loaded before everything else, the board included.
std::vector<fs::path> preloaded_libraries() {
    std::vector<fs::path> libraries;
#ifdef OSTDRV_SANITIZER_RUNTIME
    if (std::string(OSTDRV_SANITIZER_RUNTIME).empty())
        throw Failure("this build's sanitizer run-time library cannot be preloaded");
    libraries.emplace_back(OSTDRV_SANITIZER_RUNTIME);
#endif
    libraries.push_back(board_library("libostdrv-board.so"));
    if (sim::BoardDescription::load().led) libraries.push_back(board_library("libostdrv-board-led.so"));
    return libraries;
}

void prepend(const char *variable, const std::string &value) {
    const char *const old = std::getenv(variable);
    setenv(variable, (old && *old ? value + ":" + old : value).c_str(), 1);
}

// LD_PRELOAD has no way to write a blank or a colon; LD_LIBRARY_PATH has one for the blank.
std::string preload_name(const fs::path &library) {
    if (library.string().find_first_of(" :") == std::string::npos) return library.string();
    const std::string directory = library.parent_path().string();
    if (directory.find_first_of(":;") != std::string::npos)
        throw Failure("a library cannot be preloaded from a directory with a colon in its name: " + directory);
    prepend("LD_LIBRARY_PATH", directory);
    return library.filename().string();
}

}  // namespace

void launch(char *const *command) {
    std::string names;
    for (const fs::path &library : preloaded_libraries()) names += (names.empty() ? "" : ":") + preload_name(library);
    prepend("LD_PRELOAD", names);
    execvp(command[0], command);
    throw Error(ExitStatus{errno == ENOENT ? 127 : 126}, system_failure(command[0]).what());
}

}  // namespace ostdrv::tool
