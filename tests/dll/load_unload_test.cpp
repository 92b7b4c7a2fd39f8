// The telephony service starts and stops again and again, and each time the provider comes and goes.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "platform/lock_order.h"
#include "tests/dll/pe_image_helper.h"
#include "tests/dll/plain_service_helper.h"
#include "tests/dll/process_usage_helper.h"
#include "tests/dll/provider_fixture_helper.h"
#include "tests/support/as_handle.h"
#include "tests/support/tapi_recorder.h"

namespace brivelnox::test {
namespace {

constexpr int kRounds = 50;
constexpr int kWarmUpRounds = 5;
// What may come and go at any moment: handles of the system's own threads and the like.
constexpr std::size_t kNoise = 5;
// Each connection leaves the handle of its reader thread, which is never closed. That is intended.
constexpr std::size_t kReaderHandles = 1;
// The compiler's runtime keeps a record (a thread handle and an event) of each thread that has used it, until
// the thread ends: of the one that loads and unloads the module, once for each time. Twice where the order of
// locks is checked, which has a record of its own for each thread.
constexpr std::size_t kRuntimeHandles = lock_order::kIsChecked ? 4 : 2;

/// Answers as a service with one softphone, which is called by TAPI and rings back.
std::string Answer(const std::string& message) {
    if (const int id = plain_service::RequestId(message); id >= 0) {
        return Text(
            "<msg><response id='%d'><RegistrationList><Registration tapiLineName='Desk 1001' "
            "permanentLineId='1001' tcpPort='5070' clientConnected='true' sipConnected='true'/>"
            "</RegistrationList></response></msg>",
            id);
    }
    const std::string call = plain_service::Attribute(message, "requestedClientCallId");
    if (call.empty()) {
        return {};
    }
    return Text(
        "<msg><event><CallState isCaller='true' callReason='0' clientCallId='%s' "
        "callState='Ringback' permanentLineId='1001'><Peer phoneNumber='4711' name='Anna'/>"
        "</CallState></event></msg>",
        call.c_str());
}

/// How many slots of thread-local storage the process still has.
std::size_t FreeThreadSlots() {
    std::vector<DWORD> slots;
    for (DWORD slot = TlsAlloc(); slot != TLS_OUT_OF_INDEXES; slot = TlsAlloc()) {
        slots.push_back(slot);
    }
    for (const DWORD slot : slots) {
        (void)TlsFree(slot);
    }
    return slots.size();
}

class load_unload : public testing::Test {
  protected:
    /// Starts, plays a call, and shuts down.
    void StartAndStop(const host::provider_module& module) {
        tapi_.Clear();
        DWORD lines = 0;
        DWORD phones = 0;
        ASSERT_EQ(module.TSPI_providerEnumDevices(7, &lines, &phones, nullptr, tapi_.Procedure(), nullptr),
                  0);
        ASSERT_EQ(lines, 1u);
        ASSERT_EQ(module.TSPI_providerInit(kVersion, 7, 1, 0, 1, 0, nullptr, nullptr), 0);
        HDRVLINE line = nullptr;
        ASSERT_EQ(module.TSPI_lineOpen(1, AsHandle<HTAPILINE>(0xA1), &line, kVersion, tapi_.Procedure()), 0);
        HDRVCALL call = nullptr;
        ASSERT_EQ(module.TSPI_lineMakeCall(1, line, AsHandle<HTAPICALL>(0xC1), &call, L"4711", 0, nullptr),
                  1);
        // PROCEEDING, RINGBACK, and the parties.
        ASSERT_TRUE(tapi_.WaitForCount(3, kSoon));
        ASSERT_EQ(module.TSPI_lineDrop(2, call, nullptr, 0), 2);
        ASSERT_EQ(module.TSPI_lineCloseCall(call), 0);
        ASSERT_EQ(module.TSPI_lineClose(line), 0);
        ASSERT_EQ(module.TSPI_providerShutdown(kVersion, 7), 0);
    }

    template <class Round>
    void ExpectFlat(const char* what, Round round, std::size_t handles_per_round) {
        for (int i = 0; i < kWarmUpRounds; ++i) {
            ASSERT_NO_FATAL_FAILURE(round());
        }
        const std::size_t slots = FreeThreadSlots();
        const std::size_t threads = ThreadCount();
        const std::size_t handles = HandleCount();
        const std::size_t memory = PrivateBytes();
        const auto begun = std::chrono::steady_clock::now();
        for (int i = 0; i < kRounds; ++i) {
            ASSERT_NO_FATAL_FAILURE(round());
        }
        const auto elapsed =
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begun);
        std::printf(
            "%s: %d rounds in %lld ms, threads %zu -> %zu, handles %zu -> %zu, private bytes %zu -> "
            "%zu\n",
            what, kRounds, static_cast<long long>(elapsed.count()), threads, ThreadCount(), handles,
            HandleCount(), memory, PrivateBytes());
        EXPECT_EQ(FreeThreadSlots(), slots);
        EXPECT_LE(ThreadCount(), threads + 2);
        EXPECT_LE(HandleCount(), handles + kRounds * handles_per_round + kNoise);
    }

    plain_service service_{&Answer};
    tapi_recorder tapi_;
};

TEST_F(load_unload, starting_and_stopping_fifty_times_leaves_the_readers_handles_and_nothing_else) {
    const host::provider_module module(BuiltProviderPath().wstring());
    ExpectFlat(
        "start and stop", [&] { StartAndStop(module); }, kReaderHandles);
    EXPECT_EQ(service_.Accepted(), kRounds + kWarmUpRounds);
}

TEST_F(load_unload, loading_and_unloading_fifty_times_leaves_what_starting_leaves_and_the_runtimes_records) {
    ExpectFlat(
        "load, start, stop, unload",
        [&] {
            const host::provider_module module(BuiltProviderPath().wstring());
            StartAndStop(module);
        },
        kReaderHandles + kRuntimeHandles);
    EXPECT_EQ(GetModuleHandleW(L"Brivelnox.tsp"), nullptr) << "the last round has unloaded it";
}

TEST_F(load_unload, loading_without_ever_starting_leaves_the_runtimes_records) {
    ExpectFlat(
        "load, unload",
        [&] {
            const host::provider_module module(BuiltProviderPath().wstring());
            DWORD version = 0;
            ASSERT_EQ(module.TSPI_lineNegotiateTSPIVersion(0, 0x00010003, 0x00030000, &version), 0);
        },
        kRuntimeHandles);
    EXPECT_EQ(GetModuleHandleW(L"Brivelnox.tsp"), nullptr);
}

}  // namespace
}  // namespace brivelnox::test
