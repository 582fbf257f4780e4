// Where the fitted chip keeps the two certificates of the chain, and what it can take.
#ifndef OSTDRV_TOOLS_CERTIFICATE_STORE_HPP
#define OSTDRV_TOOLS_CERTIFICATE_STORE_HPP

#include <string>
#include <vector>

#include "chip.hpp"
#include "key_files.hpp"

namespace ostdrv::tool {

enum class Which { signer, device };

class CertificateStore {
 public:
    // The one of the chip that connect() found.
    explicit CertificateStore(Chip chip);

    // Compressed: a PEM file that the host keeps is part of what is stored.
    bool needs_files() const { return scheme_ == Scheme::layout0; }
    // The USB kit keeps copies of them, which serve when they are gone.
    bool has_copies() const;
    // What a save writes.
    std::vector<unsigned> written(Which which) const;
    // What a lock locks.
    std::vector<unsigned> locked_together(Which which) const;
    // "slots 8 and 10".
    std::string names(const std::vector<unsigned> &places) const;

    // Throws a Failure that says why the chip could not give this certificate back or verify it.
    void check_fit(Which which, const CertificateFile &certificate, const std::string &path) const;

 private:
    enum class Scheme { layout0, layout1, trustx };
    Chip chip_;
    Scheme scheme_;
};

}  // namespace ostdrv::tool

#endif
