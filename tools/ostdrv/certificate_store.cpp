#include "certificate_store.hpp"

#include <ostdrv.h>

#include <algorithm>

#include "error.hpp"

namespace ostdrv::tool {
namespace {

constexpr std::size_t largest_certificate = largest_transfer;
// Of the to-be-signed part, on layout 1.
constexpr std::size_t signer_capacity = atecc::large_slot_size, device_capacity = 5 * atecc::certificate_slot_size;

// A Trust X looks for the signer's key behind these bytes, which may begin at the first place up to the last one.
constexpr std::uint8_t key_mark[] = {0x03, 0x42, 0x00, 0x04};
constexpr std::size_t first_mark = 160, last_mark = 176;

void check_size(const std::string &what, std::size_t size, std::size_t limit) {
    if (size > limit)
        throw Failure(what + " has " + std::to_string(size) + " bytes, this chip takes " + std::to_string(limit));
}

void check_key_place(const CertificateFile &certificate, const std::string &path) {
    const auto mark =
        std::search(certificate.tbs.begin(), certificate.tbs.end(), std::begin(key_mark), std::end(key_mark));
    const auto place = static_cast<std::size_t>(mark - certificate.tbs.begin());
    if (place < first_mark || place > last_mark)
        throw Failure(path + " has its public key " + std::to_string(place + sizeof key_mark) +
                      " bytes into the to-be-signed part, where a Trust X would not find it: it looks from " +
                      std::to_string(first_mark + sizeof key_mark) + " to " +
                      std::to_string(last_mark + sizeof key_mark) +
                      "; issuer and subject names of another length move the key");
}

void check_kit_name(Which which, const std::string &path) {
    const std::string name = which == Which::signer ? "signercert.cert" : "devcert.cert";
    if (path.find(name) == path.npos)
        throw Failure(path + ": behind the USB kit the file's name has to hold \"" + name + "\"");
}

}  // namespace

CertificateStore::CertificateStore(Chip chip) : chip_(chip), scheme_(Scheme::trustx) {
    if (chip == Chip::trustx) return;
    scheme_ = layout_version() == 1 ? Scheme::layout1 : Scheme::layout0;
}

bool CertificateStore::has_copies() const {
    return scheme_ == Scheme::layout0 && g_atca_iface_cfg && g_atca_iface_cfg->iface_type == ATCA_HID_IFACE;
}

std::vector<unsigned> CertificateStore::written(Which which) const {
    switch (scheme_) {
        case Scheme::layout0:
            return which == Which::signer ? std::vector<unsigned>{11, 10} : std::vector<unsigned>{9};
        case Scheme::layout1:
            return which == Which::signer ? std::vector<unsigned>{8, 10} : std::vector<unsigned>{11, 12, 13, 14, 15, 9};
        default:
            return {which == Which::signer ? trustx::signer_cert : trustx::device_cert};
    }
}

std::vector<unsigned> CertificateStore::locked_together(Which which) const {
    std::vector<unsigned> places = written(which);
    if (scheme_ == Scheme::trustx) places.push_back(which == Which::signer ? trustx::signer_key : trustx::device_key);
    return places;
}

std::string CertificateStore::names(const std::vector<unsigned> &places) const {
    std::string text;
    for (const unsigned place : places) {
        const std::string name = slot_name(chip_, place);
        const std::size_t number = name.find(' ');
        if (text.empty())
            text = places.size() == 1 ? name : name.substr(0, number) + "s" + name.substr(number);
        else
            text += (place == places.back() ? " and" : ",") + name.substr(number);
    }
    return text;
}

void CertificateStore::check_fit(Which which, const CertificateFile &certificate, const std::string &path) const {
    if (certificate.signature != "ecdsa-with-SHA256")
        throw Failure(path + " is signed with " + certificate.signature + ", not with ecdsa-with-SHA256");
    check_size(path + ", as DER,", certificate.der.size(), largest_certificate);
    if (scheme_ == Scheme::layout1)
        check_size("the to-be-signed part of " + path, certificate.tbs.size(),
                   which == Which::signer ? signer_capacity : device_capacity);
    if (scheme_ == Scheme::trustx && which == Which::signer) check_key_place(certificate, path);
    if (scheme_ == Scheme::layout0) {
        if (certificate.pem_file_size == 0)
            throw Failure(path + ": on certificate layout 0 the PEM file is a part of what is stored: give that");
        check_size(path, certificate.pem_file_size, largest_certificate);
        if (has_copies()) check_kit_name(which, path);
    }
}

}  // namespace ostdrv::tool
