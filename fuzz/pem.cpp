// The PEM readers of both chips. The input is the file.
#include "world.hpp"

namespace ostdrv::fuzz {
namespace {

// Nothing when the file is refused.
Bytes read_with(int (*reader)(const char *, std::uint8_t *, std::size_t *), const std::string &path,
                std::size_t capacity) {
    Output out(capacity);
    std::size_t length = capacity;
    const int status = reader(path.c_str(), out.data(), &length);
    expect(length <= capacity, "the length is within the capacity");
    expect(status == 0 || length == capacity, "a failure leaves the length alone");
    expect(status == 0 || status == 17 || out.is_untouched(), "a failure leaves the buffer alone");
    return out.first(status == 0 ? length : 0);
}

// The reader of the ATECC asks for as much room as the file takes.
Bytes read_as_atecc(const std::string &path) {
    return read_with(tpm_cert_read_cert_from_file, path, std::filesystem::file_size(path));
}

// The reader of the Trust X asks for as much as the certificate takes.
Bytes read_as_trustx(const std::string &path) {
    const Bytes der = read_with(tpm_pem_file_to_octet_string, path, 4096);
    if (der.size() > 1) {
        expect(read_with(tpm_pem_file_to_octet_string, path, der.size()) == der, "just enough room is enough");
        read_with(tpm_pem_file_to_octet_string, path, der.size() - 1);
    }
    return der;
}

}  // namespace

void fit(World &) {}

void try_input(const World &world, ByteView input) {
    const std::string path = world.put("input.pem", input), written = world.path("written.pem");
    for (const Bytes &der : {read_as_atecc(path), read_as_trustx(path)}) {
        if (der.size() < 2) continue;
        expect(tpm_octet_string_to_pem_file(written.c_str(), der.data(), der.size()) == 0, "what was read is written");
        expect(read_as_atecc(written) == der && read_as_trustx(written) == der, "what was written reads the same");
    }
}

}  // namespace ostdrv::fuzz
