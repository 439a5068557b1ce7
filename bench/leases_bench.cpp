#include <cstdlib>
#include <filesystem>
#include <string>

#include <benchmark/benchmark.h>

#include "core/leases/address_allocation.hpp"
#include "core/leases/lease_document.hpp"
#include "core/leases/lease_document_reader.hpp"
#include "core/leases/lease_file.hpp"

namespace {

namespace fs = std::filesystem;
using namespace corvane;

const TimePoint now{std::chrono::seconds{1'740'830'400}};
// A /16 network served from 10.1.0.1 with a pool covering nearly all of it.
const IPv4Address serverAddress(10, 1, 0, 1);
const AddressRange pool{IPv4Address(10, 1, 0, 10), IPv4Address(10, 1, 255, 250)};

MACAddress clientNumber(std::uint32_t number) {
    return MACAddress(MACAddress::ByteArray{0x02, 0x42, static_cast<std::uint8_t>(number >> 24),
                                            static_cast<std::uint8_t>(number >> 16),
                                            static_cast<std::uint8_t>(number >> 8),
                                            static_cast<std::uint8_t>(number)});
}

// `count` devices on the lowest addresses of the pool, as a long-running lab accumulates
// them; every `activeEvery`-th one still holds its lease, the rest have expired.
std::vector<Lease> lowEndLeases(std::int64_t count, std::int64_t activeEvery) {
    std::vector<Lease> leases;
    leases.reserve(static_cast<std::size_t>(count));
    for (std::int64_t index = 0; index < count; ++index) {
        const auto number = static_cast<std::uint32_t>(index);
        const bool active = index % activeEvery == 0;
        leases.push_back(Lease{
            .mac = clientNumber(number),
            .ip = IPv4Address(pool.first.value() + number),
            .state = Lease::State::bound,
            .expiresAt = now + std::chrono::hours(active ? 12 : -12),
            .hostname = "device-" + std::to_string(index),
            .vendorClass = "udhcp 1.36.1",
            .clientID = "01:" + clientNumber(number).description(),
            .firstSeen = now - std::chrono::hours(48),
            .lastSeen = now - std::chrono::seconds(index % 3600),
        });
    }
    return leases;
}

void chooseForNewClient(benchmark::State& state, std::int64_t activeEvery) {
    const LeaseTable leases(lowEndLeases(state.range(0), activeEvery), {});
    const std::vector<IPv4Address> quarantined = {IPv4Address(10, 1, 200, 1),
                                                  IPv4Address(10, 1, 200, 2)};
    const AddressPredicate isUsable = [&](IPv4Address ip) {
        return pool.contains(ip) && ip != serverAddress &&
               std::find(quarantined.begin(), quarantined.end(), ip) == quarantined.end();
    };
    const AddressPredicate holderIsOffline = [](IPv4Address) { return false; };
    const auto newcomer = clientNumber(0xFFFFFF);
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            chooseAddress(newcomer, std::nullopt, leases, pool, isUsable, holderIsOffline, now));
    }
    state.SetComplexityN(state.range(0));
}

// Both address-choice runs grow the history alike, so that their timings compare.
void acrossHistorySizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(1'000)
        ->Arg(10'000)
        ->Arg(60'000)
        ->Unit(benchmark::kMicrosecond)
        ->Complexity(benchmark::oN);
}

// The walk has to step over every leased address before it finds a free one.
void BM_ChooseAddressLowEndTaken(benchmark::State& state) {
    chooseForNewClient(state, 1);
}
BENCHMARK(BM_ChooseAddressLowEndTaken)->Apply(acrossHistorySizes);

// The same history, but nearly every lease has expired: the pool is mostly free again.
void BM_ChooseAddressMostlyFree(benchmark::State& state) {
    chooseForNewClient(state, 100);
}
BENCHMARK(BM_ChooseAddressMostlyFree)->Apply(acrossHistorySizes);

class ScratchLeaseFile {
public:
    ScratchLeaseFile() {
        std::string pattern = (fs::temp_directory_path() / "corvane-lease-bench-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            std::abort();
        }
        folder_ = pattern;
    }
    ScratchLeaseFile(const ScratchLeaseFile&) = delete;
    ScratchLeaseFile& operator=(const ScratchLeaseFile&) = delete;
    ~ScratchLeaseFile() { fs::remove_all(folder_); }

    LeaseFile file() const { return LeaseFile(folder_ / "leases.json"); }

private:
    fs::path folder_;
};

LeaseTable tableOf(std::int64_t count) {
    return LeaseTable(lowEndLeases(count, 2),
                      {Quarantine{IPv4Address(10, 1, 200, 1), now, clientNumber(1)}});
}

void BM_LeaseFileSave(benchmark::State& state) {
    const ScratchLeaseFile scratch;
    const auto file = scratch.file();
    const auto table = tableOf(state.range(0));
    for (auto _ : state) {
        file.save(table);
    }
}
BENCHMARK(BM_LeaseFileSave)->Arg(100)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMillisecond);

void BM_LeaseFileLoad(benchmark::State& state) {
    const ScratchLeaseFile scratch;
    const auto file = scratch.file();
    file.save(tableOf(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(file.load(now));
    }
}
BENCHMARK(BM_LeaseFileLoad)
    ->Arg(100)
    ->Arg(1'000)
    ->Arg(10'000)
    ->Arg(60'000)
    ->Unit(benchmark::kMillisecond);

// The two ways through the same document of our own writer's: the quick reader it normally
// takes, and the record-by-record one that a document with anything unusual goes through.
void decodeWith(benchmark::State& state,
                std::optional<LeaseDocumentContents> (*decode)(std::string_view, int)) {
    const auto document = encodeLeaseDocument(tableOf(state.range(0)), LeaseFile::currentVersion);
    for (auto _ : state) {
        benchmark::DoNotOptimize(decode(document, LeaseFile::currentVersion));
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(document.size()));
}

void BM_LeaseDocumentDecodeQuick(benchmark::State& state) {
    decodeWith(state, decodeLeaseDocument);
}
BENCHMARK(BM_LeaseDocumentDecodeQuick)->Arg(60'000)->Unit(benchmark::kMillisecond);

void BM_LeaseDocumentDecodeRecordByRecord(benchmark::State& state) {
    decodeWith(state, decodeLeaseDocumentRecordByRecord);
}
BENCHMARK(BM_LeaseDocumentDecodeRecordByRecord)->Arg(60'000)->Unit(benchmark::kMillisecond);

} // namespace
