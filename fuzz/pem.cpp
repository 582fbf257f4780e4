// The PEM readers of both chips. The input is the file.
#include <algorithm>

#include "world.hpp"

using namespace ostdrv::fuzz;

namespace {

using Reader = int (*)(const char *, std::uint8_t *, std::size_t *);

struct Reading {
    int status;
    Bytes der;
};

Reading read_with(Reader reader, const std::string &path, std::size_t capacity) {
    Output out(capacity);
    std::size_t length = capacity;
    const int status = reader(path.c_str(), out.data(), &length);
    if (status == 0) {
        expect(length <= capacity, "the length is within the capacity");
        const ByteView der = out.first(length);
        return {status, {der.begin(), der.end()}};
    }
    expect(length == capacity, "a failure leaves the length alone");
    expect(status == 17 || out.is_untouched(), "a failure leaves the buffer alone");
    return {status, {}};
}

// The reader of the ATECC asks for as much room as the file takes.
Reading read_as_atecc(const std::string &path, std::size_t file_size) {
    const Reading reading = read_with(tpm_cert_read_cert_from_file, path, file_size);
    expect(reading.status == 0 || reading.status == 2, "a file that fits is decoded or refused");
    if (file_size > 0)
        expect(read_with(tpm_cert_read_cert_from_file, path, file_size - 1).status == 5, "a file too large is refused");
    return reading;
}

// The reader of the Trust X asks for as much as the certificate takes.
Reading read_as_trustx(const std::string &path, std::size_t file_size) {
    const Reading reading = read_with(tpm_pem_file_to_octet_string, path, file_size + 2);
    expect(reading.status == 0 || reading.status == 8 || reading.status == 17,
           "a file is read, refused or undecodable");
    const std::size_t size = reading.der.size();
    if (size > 1) {
        const Reading exact = read_with(tpm_pem_file_to_octet_string, path, size);
        expect(exact.status == 0 && exact.der == reading.der, "a capacity of just the certificate is enough");
    }
    if (size > 2)
        expect(read_with(tpm_pem_file_to_octet_string, path, size - 1).status == 17, "one byte less is too little");
    return reading;
}

void expect_same_when_written(const World &world, const Bytes &der) {
    const std::string path = world.path("written.pem");
    expect(tpm_octet_string_to_pem_file(path.c_str(), der.data(), der.size()) == 0, "what was read can be written");
    const std::size_t size = std::filesystem::file_size(path);
    expect(read_as_atecc(path, size).der == der, "what was written reads the same on an ATECC");
    expect(read_as_trustx(path, size).der == der, "what was written reads the same on a Trust X");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const World world({.chip = "none"});
    const NothingLeftOpen nothing_left_open;
    const std::string path = world.put("input.pem", {data, size});
    const Reading atecc = read_as_atecc(path, size);
    const Reading trustx = read_as_trustx(path, size);
    if (atecc.status == 0 && trustx.status == 0) expect(atecc.der == trustx.der, "both readers read the same");
    for (const Bytes &der : {atecc.der, trustx.der})
        if (der.size() > 1) expect_same_when_written(world, der);
    return 0;
}
