// Certificates of layout 1, rebuilt and verified from an ATECC's slots. The input is what slots 8 to 15 hold.
#include "atecc/chip_access.hpp"
#include "chain.hpp"
#include "dump_files.hpp"

using namespace ostdrv;
using namespace ostdrv::fuzz;

namespace {

constexpr std::size_t signature_size = 64;

// The entry points would read the layout's number from the chip at every call.
const tpm_cert_api_t &layout1 = tpm_cert_api_impl_1;

struct Slots {
    sim::AteccState chip;
    ByteView signer_tbs() const { return chip.slot(8); }
    ByteView device_tbs() const { return {chip.slot(11).data(), 360}; }
    ByteView signer_signature() const { return chip.slot(10).first(signature_size); }
    ByteView device_signature() const { return chip.slot(9).first(signature_size); }
};

class Board : public World {
    const Certificate authority_{"ca.pem"}, signer_{"signer.pem"}, device_{"device.pem"};
    const sim::PublicKey authority_key_ = authority_.public_key();
    Bytes signer_dump_, device_dump_;
    Slots genuine_{};

 public:
    Board() : World({.chip = "atecc608a"}) {
        board.put("/mnt/settings/atecc", "");
        expect(tpm_init_device() == 0 && tpm_init_config(nullptr) == 0, "the chip can be provisioned");
        sim::change_atecc([](sim::AteccState &chip) { sim::place_private_key(chip, 0, device_key()); });
        const std::uint8_t serial[] = {'1'};
        expect(tpm_cert_set_serial_number(serial, sizeof serial) == 0, "the serial number can be set");
        expect(tpm_cert_save_signer_cert(chain_file("signer.pem").c_str()) == 0, "the signer can be saved");
        expect(tpm_cert_save_device_cert(chain_file("device.pem").c_str()) == 0, "the device can be saved");
        genuine_.chip = sim::look_into_atecc();
        signer_dump_ = dump_of(signer_.tbs());
        device_dump_ = dump_of(device_.tbs());
        check_verification(genuine_);
    }

    Slots filled_with(ByteView bytes) const {
        Slots result{};
        sim::change_atecc([&](sim::AteccState &chip) {
            const std::span<std::uint8_t> slots{chip.slot(8).data(), chip.slot(15).data() + 72};
            std::fill(slots.begin(), slots.end(), std::uint8_t{0xFF});
            std::copy_n(bytes.begin(), std::min(bytes.size(), slots.size()), slots.begin());
            result.chip = chip;
        });
        return result;
    }
    void check_verification(const Slots &slots) const;
    void check_export(int (*export_to)(const char *), ByteView tbs) const;

 private:
    static sim::PrivateKey device_key() {
        const auto bytes = sim::read_file(chain_file("device_key"));
        sim::PrivateKey key{};
        expect(bytes && bytes->size() == key.size(), "the device's key is there");
        std::copy_n(bytes->begin(), key.size(), key.begin());
        return key;
    }
    Bytes dump_of(ByteView der) const {
        const std::string command =
            "/usr/bin/openssl asn1parse -inform DER -in " + put("der", der) + " > " + path("dump");
        expect(std::system(command.c_str()) == 0, "the openssl command runs");
        return *sim::read_file(path("dump"));
    }
    // A signature by anybody else is out of reach, so the stored parts are genuine or the chain is not.
    bool is_genuine(const Slots &slots) const {
        return begins_with(slots.signer_tbs(), signer_.tbs()) && begins_with(slots.device_tbs(), device_.tbs()) &&
               begins_with(slots.signer_signature(), genuine_.signer_signature()) &&
               begins_with(slots.device_signature(), genuine_.device_signature());
    }
};

void Board::check_verification(const Slots &slots) const {
    answer_with_dumps(*this, {signer_dump_, device_dump_});
    std::uint8_t verified = 7;
    const int status = layout1.verify(authority_key_.data(), nullptr, &verified);
    expect(status == 0 || status == 15, "a chain verifies or does not, or is longer than its slots");
    expect(verified == (is_genuine(slots) ? 1 : 0), "the genuine chain verifies, and no other");
}

void Board::check_export(int (*export_to)(const char *), ByteView tbs) const {
    const std::string file = path("exported.pem");
    std::filesystem::remove(file);
    const int status = export_to(file.c_str());
    if (status != 0) {
        expect(status == 15 && !std::filesystem::exists(file), "what cannot be rebuilt leaves no file");
        return;
    }
    Output out(1536);
    std::size_t size = std::filesystem::file_size(file);
    expect(tpm_cert_read_cert_from_file(file.c_str(), out.data(), &size) == 0, "what was exported can be read");
    const ByteView der = out.first(size);
    expect(der.size() == whole_size(der), "a certificate is as long as its header says");
    expect(begins_with(der.subspan(header_size(der)), tbs.first(whole_size(tbs))), "the stored part is in it");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const Board board;
    const NothingLeftOpen nothing_left_open;
    const Slots slots = board.filled_with({data, size});
    board.check_export(layout1.export_signer_cert, slots.signer_tbs());
    board.check_export(layout1.export_device_cert, slots.device_tbs());
    board.check_verification(slots);
    return 0;
}
