// ostdrv csr: the device's request for a certificate.
#include <ostdrv.h>

#include "chip.hpp"
#include "crypto.hpp"
#include "families.hpp"
#include "files.hpp"

namespace ostdrv::tool {
namespace {

std::string path;

void request() {
    const Chip chip = connect_provisioned();
    const std::string note = request_note(required_serial_number());
    require_device_key(chip);
    if (!note.empty()) message("warning: " + note);

    const MemoryFile file;
    require((chip == Chip::trustx ? tpm_cert_gencsr_trustx : tpm_cert_gencsr)(file.path()), "make a signing request");
    // The library does not check whether its file could be written whole.
    const Bytes pem = file.content();
    if (!is_signing_request(pem)) throw Failure("the signing request that was made is not a valid one");
    write_file(path, pem);
}

}  // namespace

void add_csr(Command &program) {
    Command &command = program.add_command("csr", "Write a certificate signing request for the device key");
    command.add_file("FILE", path, "PEM file to write, - for standard output").required();
    command.examples({"ostdrv csr device.csr", "ostdrv csr - | openssl req -verify -noout -text"});
    command.action(request);
}

}  // namespace ostdrv::tool
