// The library's MD5 beside libcrypto's, measured in turn on the same bytes. "ratio" is libcrypto's time over the
// library's: 1 is as fast, more is faster.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include "ostdrv.h"

namespace {

using Digest = unsigned char[16];

void library_md5(const std::vector<unsigned char> &message, Digest &digest) {
    x_sensor_eeprom_md5_ctx context;
    x_sensor_eeprom_md5_init(&context);
    x_sensor_eeprom_md5_update(&context, message.data(), static_cast<unsigned>(message.size()));
    x_sensor_eeprom_md5_finalise(&context, digest);
}

// The context is made once, as a program that cares for speed would.
void libcrypto_md5(EVP_MD_CTX *context, const EVP_MD *md5, const std::vector<unsigned char> &message, Digest &digest) {
    EVP_DigestInit_ex(context, md5, nullptr);
    EVP_DigestUpdate(context, message.data(), message.size());
    EVP_DigestFinal_ex(context, digest, nullptr);
}

template <typename Action>
double seconds(Action action) {
    const auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Medians of single turns: what else runs on the machine then matters little.
double median(std::vector<double> &times) {
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

void md5(benchmark::State &state) {
    const std::vector<unsigned char> message(static_cast<std::size_t>(state.range(0)), 0x5a);
    EVP_MD_CTX *const context = EVP_MD_CTX_new();
    EVP_MD *const algorithm = EVP_MD_fetch(nullptr, "MD5", nullptr);
    std::vector<double> ours, theirs;
    Digest digest;
    for (auto _ : state) {
        ours.push_back(seconds([&] { library_md5(message, digest); }));
        theirs.push_back(seconds([&] { libcrypto_md5(context, algorithm, message, digest); }));
        benchmark::DoNotOptimize(digest);
        state.SetIterationTime(ours.back());
    }
    EVP_MD_free(algorithm);
    EVP_MD_CTX_free(context);

    const double library = median(ours);
    const double libcrypto = median(theirs);
    state.SetBytesProcessed(state.iterations() * state.range(0));
    state.counters["library_us"] = library * 1e6;
    state.counters["libcrypto_us"] = libcrypto * 1e6;
    state.counters["ratio"] = libcrypto / library;
}

BENCHMARK(md5)->Arg(64)->Arg(1024)->Arg(12288)->Arg(20 * 12288)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
