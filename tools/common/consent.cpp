#include "consent.hpp"

#include <unistd.h>

#include <cstdio>

namespace ostdrv::tool {

void Consent::add_to(Command &command) {
    command.add_flag("-y,--yes", yes_, "Do what cannot be undone without asking");
    command.add_flag("--dry-run", dry_run_, "Check, say what would become permanent, and change nothing");
}

void Consent::add_force_to(Command &command) {
    command.add_flag("--force", force_, "Go on where a check speaks against it");
    can_force_ = true;
}

void Consent::object(const std::string &reason) const {
    if (!force_) throw Failure(reason + (can_force_ ? "; --force does it all the same" : ""));
    message("warning: " + reason);
}

bool Consent::agreed(const std::string &what) const {
    if (dry_run_) {
        std::printf("%s\nDry run: nothing was changed.\n", what.c_str());
        return false;
    }
    if (yes_) return true;
    if (!isatty(STDIN_FILENO) || !isatty(STDERR_FILENO))
        throw BadUsage(what + " It cannot be undone and there is no terminal to ask at: say --yes");
    message(what + " It cannot be undone. Continue? [y/N]");
    char answer[8] = "";
    if (std::fgets(answer, sizeof answer, stdin)) {
        const std::string word = std::string(answer).substr(0, std::string(answer).find('\n'));
        if (word == "y" || word == "Y" || word == "yes") return true;
    }
    throw Failure("not confirmed, nothing was done");
}

}  // namespace ostdrv::tool
