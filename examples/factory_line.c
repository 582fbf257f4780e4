/*
 * A station of a factory line: gives a device its identity, and may be run again after a power cut at any moment.
 *
 *   factory_line request DIR SERIAL   provisions the chip, makes its key and writes DIR/request.csr
 *   factory_line finish DIR SERIAL    saves DIR/signercert.cert and DIR/devcert.cert, verifies them and locks
 * everything
 *
 * DIR/root.key holds the root authority's public key: X and Y, 64 bytes, big-endian. Between the two runs the authority
 * answers the request. A device whose chain verifies keeps its key and gets no request: "finish" only locks it.
 *
 * Exit status: 0 done; 1 failed, run both again; 3 failed, and something is locked in the chip that may be the reason.
 */
#include <ostdrv.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

struct Station {
    char root_key[1024], request[1024], signer[1024], device[1024];
    const char *serial;
    int chip;
};

static void name_files(struct Station *station, const char *directory) {
    snprintf(station->root_key, sizeof station->root_key, "%s/root.key", directory);
    snprintf(station->request, sizeof station->request, "%s/request.csr", directory);
    snprintf(station->signer, sizeof station->signer, "%s/signercert.cert", directory);
    snprintf(station->device, sizeof station->device, "%s/devcert.cert", directory);
}

/* Everything that the line itself locks, but for the key of an ATECC, which is locked as soon as it is made. */
static int print_locked_places(int chip) {
    static const uint16_t atecc[] = {7, 8, 9, 10, 11, 12, 13, 14, 15};
    static const uint16_t trustx[] = {0xF1D0, 0xE0E2, 0xE0F2, 0xE0E1, 0xE0F1};
    const uint16_t *places = chip == TPM_CHIP_TRUSTX ? trustx : atecc;
    const size_t count = chip == TPM_CHIP_TRUSTX ? sizeof trustx / sizeof *trustx : sizeof atecc / sizeof *atecc;
    int found = 0;
    for (size_t i = 0; i < count; ++i) {
        uint8_t locked = 0;
        if (tpm_is_slot_locked(places[i], &locked) != 0 || !locked) continue;
        fprintf(stderr, "locked for good: %s 0x%X\n", chip == TPM_CHIP_TRUSTX ? "object" : "slot", (unsigned)places[i]);
        found = 1;
    }
    return found;
}

static int failed(const struct Station *station, const char *action, int status) {
    fprintf(stderr, "could not %s: status %d\n", action, status);
    return print_locked_places(station->chip) ? 3 : 1;
}

static int chain_verifies(const struct Station *station) {
    uint8_t key[64];
    FILE *file = fopen(station->root_key, "rb");
    const int whole = file && fread(key, sizeof key, 1, file) == 1;
    if (file) fclose(file);

    const char *const paths[] = {station->signer, station->device};
    uint8_t verified = 0;
    return whole && tpm_cert_verify(key, paths, &verified) == 0 && verified;
}

static int serial_is_stored(const char *serial) {
    char stored[36] = "";
    int length = 35;
    return tpm_cert_get_serial_number(stored, &length) == 0 && strcmp(stored, serial) == 0;
}

static int request(const struct Station *station) {
    /* What an interrupted run left may belong to a key that is no more. */
    remove(station->request);
    if (serial_is_stored(station->serial) && chain_verifies(station)) return 0;
    remove(station->device);

    int status = tpm_init_config(NULL);
    if (status != 0) return failed(station, "provision the chip", status);
    if (!serial_is_stored(station->serial)) {
        status = tpm_cert_set_serial_number((const uint8_t *)station->serial, (int)strlen(station->serial));
        if (status != 0) return failed(station, "store the serial number", status);
    }
    uint8_t key[91];
    status = tpm_genkey(key, 68);
    if (status != 0) return failed(station, "make the key", status);
    status =
        station->chip == TPM_CHIP_TRUSTX ? tpm_cert_gencsr_trustx(station->request) : tpm_cert_gencsr(station->request);
    return status == 0 ? 0 : failed(station, "write the request", status);
}

static int finish(const struct Station *station) {
    int status;
    if (!serial_is_stored(station->serial)) return failed(station, "find the serial number", 0);
    if (!chain_verifies(station)) {
        status = tpm_cert_save_signer_cert(station->signer);
        if (status != 0) return failed(station, "save the signer's certificate", status);
        status = tpm_cert_save_device_cert(station->device);
        if (status != 0) return failed(station, "save the device's certificate", status);
        if (!chain_verifies(station)) return failed(station, "verify what was saved", 0);
    }
    /* Nothing is locked before all of it is known to be right. */
    status = tpm_cert_lock_serial_number();
    if (status == 0) status = tpm_cert_lock_signer_cert();
    if (status == 0) status = tpm_cert_lock_device_cert();
    return status == 0 ? 0 : failed(station, "lock everything", status);
}

int main(int argc, char **argv) {
    const int requests = argc == 4 && strcmp(argv[1], "request") == 0;
    if (argc != 4 || (!requests && strcmp(argv[1], "finish") != 0)) {
        fprintf(stderr, "usage: %s request|finish DIR SERIAL\n", argv[0]);
        return 2;
    }
    struct Station station = {.serial = argv[3]};
    name_files(&station, argv[2]);

    const int status = tpm_init_device();
    if (status != 0 || tpm_get_chip_type(&station.chip) != 0) {
        fprintf(stderr, "no secure element answers: status %d\n", status);
        return 1;
    }
    return requests ? request(&station) : finish(&station);
}
