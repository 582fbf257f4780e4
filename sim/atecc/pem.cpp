#include "pem.hpp"

#include "refused.hpp"

namespace ostdrv::sim::atecc {
namespace {

constexpr std::string_view line_end = "\r\n";
constexpr std::string_view certificate = "CERTIFICATE";

std::string boundary(std::string_view word, std::string_view label) {
    return "-----" + std::string(word) + " " + std::string(label) + "-----";
}

}  // namespace

std::string pem_encode(std::string_view label, ByteView der) {
    const std::string body = base64_encode(der);
    std::string text = boundary("BEGIN", label).append(line_end);
    for (std::size_t done = 0; done < body.size(); done += 64) text.append(body, done, 64).append(line_end);
    return text.append(boundary("END", label)).append(line_end);
}

std::optional<Bytes> pem_decode(std::string_view label, std::string_view text) {
    const std::string header = boundary("BEGIN", label);
    const std::size_t begin = text.find(header);
    if (begin == text.npos) return std::nullopt;
    const std::string_view rest = text.substr(begin + header.size());
    const std::size_t end = rest.find(boundary("END", label));
    if (end == rest.npos) return std::nullopt;

    std::string body(rest.substr(0, end));
    std::erase_if(body, [](char c) { return c == '\r' || c == '\n' || c == ' ' || c == '\t'; });
    if (body.empty()) return std::nullopt;
    return base64_decode(body);
}

extern "C" int atcacert_decode_pem_cert(const char *pem, size_t pem_size, uint8_t *der, size_t *der_size) {
    const Call call(CallKind::platform, "atcacert_decode_pem_cert", "%zu", pem_size);
    return refusable(call, [&] {
        require(pem && der && der_size, ATCACERT_E_BAD_PARAMS);
        deliver(required(pem_decode(certificate, {pem, pem_size}), ATCACERT_E_DECODING_ERROR), der, der_size);
    });
}

extern "C" int atcacert_encode_pem_cert(const uint8_t *der, size_t der_size, char *pem, size_t *pem_size) {
    const Call call(CallKind::platform, "atcacert_encode_pem_cert", "%zu", der_size);
    return refusable(call, [&] {
        require(der && der_size && pem && pem_size, ATCACERT_E_BAD_PARAMS);
        deliver(pem_encode(certificate, {der, der_size}), pem, pem_size);
    });
}

}  // namespace ostdrv::sim::atecc
