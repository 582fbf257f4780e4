// Statuses of the secure-element and certificate functions.
#ifndef OSTDRV_SUPPORT_STATUS_HPP
#define OSTDRV_SUPPORT_STATUS_HPP

namespace ostdrv {

enum Status : int {
    status_ok = 0,
    status_not_started = 1,     // the ATECC could not be brought up
    status_chip = 2,            // a chip call failed
    status_argument = 3,        // bad argument
    status_locked = 4,          // the slot or object is locked
    status_buffer = 5,          // the caller's buffer is too small, or memory ran out
    status_path = 6,            // no usable certificate file path
    status_model = 7,           // no default configuration for this model
    status_file = 8,            // a file could not be opened, read, decoded or written
    status_command = 9,         // the OpenSSL command failed
    status_directory = 11,      // no such certificate in the USB kit's directory
    status_serial_number = 12,  // serial number length outside 1 to 34
    status_no_table = 13,       // no certificate operations table could be chosen
    status_no_operation = 14,   // the chosen table lacks the operation
    status_certificate = 15,    // a certificate could not be rebuilt, encoded or verified
    status_too_large = 17,      // data too large for its slot, or a base64 conversion failed
};

}  // namespace ostdrv

#endif
