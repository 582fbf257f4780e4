// Certificates kept in the chip in compressed form, requests, and the two proofs that verification needs.
#include "certificate_shape.hpp"
#include "compressed_form.hpp"
#include "core/der.hpp"
#include "pem.hpp"
#include "refused.hpp"
#include "session.hpp"

namespace ostdrv::sim::atecc {
namespace {

template <typename Command>
void on_chip(Command command) {
    require(with_chip(command) == ATCA_SUCCESS, ATCACERT_E_ERROR);
}

Digest digest_of(ByteView bytes) { return required(sha256(bytes), ATCACERT_E_ERROR); }

// A definition says where in the chip something of `size` bytes lies, and it has that size.
void require_place(const atcacert_device_loc_t &place, std::size_t size) {
    require(place.zone <= DEVZONE_DATA && place.count == size, ATCACERT_E_WRONG_CERT_DEF);
}

// Puts the public key that the definition's chip location gives into a certificate; without a location it stays.
void place_public_key(const atcacert_def_t &definition, Chip &chip, Bytes &certificate) {
    const atcacert_device_loc_t &place = definition.public_key_dev_loc;
    if (place.zone == DEVZONE_NONE) return;
    require_place(place, sizeof(PublicKey));
    const ByteView old = public_key_of(definition, certificate);
    PublicKey key;
    const ATCA_STATUS status =
        place.is_genkey ? chip.public_key(place.slot, key) : chip.read(place.zone, place.slot, place.offset, key);
    require(status == ATCA_SUCCESS, ATCACERT_E_ERROR);
    std::ranges::copy(key, certificate.begin() + (old.data() - certificate.data()));
}

// The chip's part of a certificate: first its compressed form, then its key.
ATCA_STATUS store(const atcacert_def_t &definition, Chip &chip, const CompressedForm *form, ByteView key) {
    const atcacert_device_loc_t &form_place = definition.comp_cert_dev_loc;
    const atcacert_device_loc_t &key_place = definition.public_key_dev_loc;
    if (form) {
        if (const auto status = chip.write(form_place.zone, form_place.slot, form_place.offset, *form)) return status;
    }
    return key.empty() ? ATCA_SUCCESS : chip.write(key_place.zone, key_place.slot, key_place.offset, key);
}

void write_certificate(const atcacert_def_t &definition, ByteView certificate) {
    std::optional<CompressedForm> form;
    if (definition.comp_cert_dev_loc.zone != DEVZONE_NONE) {
        require_place(definition.comp_cert_dev_loc, sizeof(CompressedForm));
        form = compress(definition, certificate);
    }
    ByteView key;
    if (definition.public_key_dev_loc.zone != DEVZONE_NONE && !definition.public_key_dev_loc.is_genkey) {
        require_place(definition.public_key_dev_loc, sizeof(PublicKey));
        key = public_key_of(definition, certificate);
    }
    on_chip([&](Chip &chip) { return store(definition, chip, form ? &*form : nullptr, key); });
}

Bytes read_certificate(const atcacert_def_t &definition) {
    const atcacert_device_loc_t &place = definition.comp_cert_dev_loc;
    require_place(place, sizeof(CompressedForm));
    Bytes certificate = template_of(definition);
    CompressedForm form;
    on_chip([&](Chip &chip) {
        place_public_key(definition, chip, certificate);
        return chip.read(place.zone, place.slot, place.offset, form);
    });
    return expand(definition, form, certificate);
}

Bytes make_request(const atcacert_def_t &definition) {
    Bytes request = template_of(definition);
    Signature signature;
    on_chip([&](Chip &chip) {
        place_public_key(definition, chip, request);
        return chip.sign(definition.private_key_slot, digest_of(signed_part(definition, request)), signature);
    });
    return with_signature(definition, request, signature);
}

}  // namespace

extern "C" {

int atcacert_write_cert(const atcacert_def_t *cert_def, const uint8_t *cert, size_t cert_size) {
    const Call call(kind, "atcacert_write_cert", "%zu", cert_size);
    return refusable(call, [&] {
        require(cert_def && cert, ATCACERT_E_BAD_PARAMS);
        write_certificate(*cert_def, {cert, cert_size});
    });
}

// The CA's key would fill an authority key identifier; certificates here carry theirs in the template.
int atcacert_read_cert(const atcacert_def_t *cert_def, const uint8_t *, uint8_t *cert, size_t *cert_size) {
    const Call call(kind, "atcacert_read_cert", "%zu", cert_size ? *cert_size : 0);
    return refusable(call, [&] {
        require(cert_def && cert && cert_size, ATCACERT_E_BAD_PARAMS);
        deliver(read_certificate(*cert_def), cert, cert_size);
    });
}

int atcacert_create_csr_pem(const atcacert_def_t *csr_def, char *csr, size_t *csr_size) {
    const Call call(kind, "atcacert_create_csr_pem", "%zu", csr_size ? *csr_size : 0);
    return refusable(call, [&] {
        require(csr_def && csr && csr_size, ATCACERT_E_BAD_PARAMS);
        deliver(pem_encode("CERTIFICATE REQUEST", make_request(*csr_def)), csr, csr_size);
    });
}

int atcacert_get_response(uint8_t private_key_slot, const uint8_t *challenge, uint8_t *response) {
    const Call call(kind, "atcacert_get_response", "%u", private_key_slot);
    return refusable(call, [&] {
        require(challenge && response, ATCACERT_E_BAD_PARAMS);
        Digest digest;
        Signature signature;
        std::copy_n(challenge, digest.size(), digest.begin());
        on_chip([&](Chip &chip) { return chip.sign(private_key_slot, digest, signature); });
        std::ranges::copy(signature, response);
    });
}

int atcacert_verify_cert_hw(const atcacert_def_t *cert_def, const uint8_t *cert, size_t cert_size,
                            const uint8_t *ca_public_key) {
    const Call call(kind, "atcacert_verify_cert_hw", "%zu", cert_size);
    return refusable(call, [&] {
        require(cert_def && cert && ca_public_key, ATCACERT_E_BAD_PARAMS);
        const ByteView certificate(cert, cert_size);
        const Digest digest = digest_of(signed_part(*cert_def, certificate));
        const Signature signature = signature_of(*cert_def, certificate);
        PublicKey key;
        std::copy_n(ca_public_key, key.size(), key.begin());
        bool sound = false;
        on_chip([&](Chip &) {
            sound = p256_verify(key, digest, signature);
            return ATCA_SUCCESS;
        });
        require(sound, ATCACERT_E_VERIFY_FAILED);
    });
}

}  // extern "C"

}  // namespace ostdrv::sim::atecc
