#include "status.hpp"

#include <ostdrv.h>

#include "error.hpp"

namespace ostdrv::tool {

const char *status_meaning(int status) {
    switch (status) {
        case TPM_OK:
            return "success";
        case TPM_ERR_NOT_STARTED:
            return "the ATECC could not be brought up";
        case TPM_ERR_CHIP:
            return "the secure element or its library refused";
        case TPM_ERR_ARGUMENT:
            return "bad argument";
        case TPM_ERR_LOCKED:
            return "the slot is locked";
        case TPM_ERR_BUFFER:
            return "a buffer is too small, or memory ran out";
        case TPM_ERR_PATH:
            return "no usable certificate file path";
        case TPM_ERR_MODEL:
            return "no default configuration for this model";
        case TPM_ERR_FILE:
            return "a file could not be opened, read, decoded or written";
        case TPM_ERR_COMMAND:
            return "the openssl command failed";
        case TPM_ERR_DIRECTORY:
            return "the USB kit holds no certificate of that kind";
        case TPM_ERR_SERIAL_NUMBER:
            return "a serial number has 1 to 34 bytes";
        case TPM_ERR_NO_TABLE:
            return "the certificate layout could not be read";
        case TPM_ERR_NO_OPERATION:
            return "this certificate layout has no such operation";
        case TPM_ERR_CERTIFICATE:
            return "a certificate could not be rebuilt or encoded, or the chain did not verify";
        case TPM_ERR_TOO_LARGE:
            return "too large for its slot or object, or not base64";
        default:
            return "unknown status";
    }
}

void require(int status, const std::string &what) {
    if (status != TPM_OK)
        throw Failure("cannot " + what + ": " + status_meaning(status) + " (status " + std::to_string(status) + ")");
}

}  // namespace ostdrv::tool
