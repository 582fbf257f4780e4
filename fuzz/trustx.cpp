// Certificates of a Trust X, exported and verified. The input is what its two objects hold: two bytes with the length
// of the signer's, big-endian, the signer's, the device's.
#include "chain.hpp"
#include "trustx/chip_access.hpp"

using namespace ostdrv;
using namespace ostdrv::fuzz;

namespace {

constexpr std::uint16_t device_object = 0xE0E1, signer_object = 0xE0E2;
constexpr std::size_t object_capacity = 1728, largest_certificate = 1024;

// Only behind a header of three or four bytes is a to-be-signed part looked for.
bool holds(ByteView object, ByteView tbs) {
    return object.size() > 4 && (begins_with(object.subspan(3), tbs) || begins_with(object.subspan(4), tbs));
}

class Board : public World {
    const Certificate authority_{"ca.pem"}, signer_{"signer.pem"}, device_{"device.pem"};
    const sim::PublicKey authority_key_ = authority_.public_key();

 public:
    Board() : World({.chip = "trustx"}) {
        board.put("/mnt/settings/trustx", "");
        check(signer_.der(), device_.der());
    }
    void check(ByteView signer, ByteView device) const {
        expect(sim::trustx::poke(signer_object, signer) && sim::trustx::poke(device_object, device),
               "objects are filled");
        check_verification(signer, device);
        check_export(tpm_cert_export_signer_cert, signer);
        check_export(tpm_cert_export_device_cert, device);
        expect(sim::trustx::open_sessions() == 0, "no session stays open");
    }

 private:
    void check_verification(ByteView signer, ByteView device) const {
        std::uint8_t verified = 7;
        const int status = tpm_cert_verify(authority_key_.data(), nullptr, &verified);
        expect(status == 0 || status == 2 || status == 15, "a chain verifies or does not, or an object is empty");
        expect(verified == (status == 0 ? 1 : 7), "only a verified chain is reported");
        if (status == 0)
            expect(holds(signer, signer_.tbs()) && holds(device, device_.tbs()), "no forged chain verifies");
        if (std::ranges::equal(signer, signer_.der()) && std::ranges::equal(device, device_.der()))
            expect(status == 0, "the genuine chain verifies");
    }
    void check_export(int (*export_to)(const char *), ByteView object) const {
        const std::string file = path("exported.pem");
        std::filesystem::remove(file);
        const int status = export_to(file.c_str());
        expect((status == 0) == std::filesystem::exists(file), "there is a file when there is a certificate");
        if (status != 0) {
            expect(object.size() < 2, "whatever is longer than a byte can be exported");
            return;
        }
        Output out(largest_certificate);
        std::size_t size = largest_certificate;
        expect(tpm_pem_file_to_octet_string(file.c_str(), out.data(), &size) == 0, "what was exported can be read");
        expect(std::ranges::equal(out.first(size), object.first(std::min(object.size(), largest_certificate))),
               "what was exported is the object");
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const Board board;
    const NothingLeftOpen nothing_left_open;
    if (size < 2) return 0;
    const ByteView certificates(data + 2, size - 2);
    const std::size_t length = static_cast<std::size_t>(data[0] << 8 | data[1]);
    const ByteView signer = certificates.first(std::min({length, certificates.size(), object_capacity}));
    const ByteView device = certificates.subspan(signer.size());
    board.check(signer, device.first(std::min(device.size(), object_capacity)));
    return 0;
}
