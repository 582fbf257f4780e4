// What cannot be undone: --yes or an answer at the terminal, --dry-run, --force.
#ifndef OSTDRV_TOOLS_CONSENT_HPP
#define OSTDRV_TOOLS_CONSENT_HPP

#include <string>

#include "command.hpp"

namespace ostdrv::tool {

// A command checks first, then asks, then changes:
//
//     if (!holds_key(slot)) consent.object("slot 0 holds no key");
//     if (consent.agreed("This locks slot 0 for good.")) lock(slot);
class Consent {
 public:
    // Adds --yes and --dry-run.
    void add_to(Command &command);
    // Adds --force as well, for object().
    void add_force_to(Command &command);

    // Something speaks against it: a Failure, or with --force a warning.
    void object(const std::string &reason) const;

    // `what` is a sentence. True when it was agreed to, by --yes or at the terminal; false in a dry run, which has
    // printed the sentence. Without an agreement the command ends.
    bool agreed(const std::string &what) const;

 private:
    bool yes_ = false, dry_run_ = false, force_ = false, can_force_ = false;
};

}  // namespace ostdrv::tool

#endif
