// The telephony service unloads the provider as soon as shutdown has returned, whatever still runs in it.

#include <winsock2.h>
#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "platform/unique_handle.h"
#include "tests/dll/pe_image_helper.h"
#include "tests/dll/provider_fixture_helper.h"
#include "tests/support/as_handle.h"
#include "tests/support/loopback_address.h"
#include "tests/support/missing_common_folder.h"
#include "tests/support/signal.h"
#include "tests/support/tapi_recorder.h"

namespace brivelnox::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

milliseconds Since(steady_clock::time_point begun) {
    return std::chrono::duration_cast<milliseconds>(steady_clock::now() - begun);
}

/// Whether the module leaves the process within the time. There is nothing to wait on.
bool IsUnloadedWithin(milliseconds timeout) {
    const auto begun = steady_clock::now();
    while (GetModuleHandleW(L"Brivelnox.tsp") != nullptr) {
        if (Since(begun) > timeout) {
            return false;
        }
        Sleep(5);
    }
    return true;
}

/// A port whose queue of waiting connections is full: connecting to it neither succeeds nor fails.
class stuck_port {
  public:
    stuck_port() : listener_(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP)) {
        sockaddr_in address = LoopbackAddress(0);
        int size = sizeof address;
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        (void)bind(listener_.get(), generic, size);
        (void)listen(listener_.get(), 1);
        (void)getsockname(listener_.get(), generic, &size);
        port_ = ntohs(address.sin_port);
        // More than fit; those that do not are left waiting.
        for (int i = 0; i < 4; ++i) {
            unique_socket filler(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
            u_long non_blocking = 1;
            (void)ioctlsocket(filler.get(), static_cast<long>(FIONBIO), &non_blocking);
            (void)connect(filler.get(), generic, size);
            fillers_.push_back(std::move(filler));
        }
    }

    [[nodiscard]] std::uint16_t Port() const { return port_; }

    /// Makes room and accepts whoever has been waiting beside the fillers; nothing when nobody comes within
    /// the time.
    unique_socket AcceptWaiting(milliseconds timeout) {
        std::set<std::uint16_t> known;
        for (const unique_socket& filler : fillers_) {
            sockaddr_in address = {};
            int size = sizeof address;
            (void)getsockname(filler.get(), reinterpret_cast<sockaddr*>(&address), &size);
            known.insert(address.sin_port);
        }
        const auto begun = steady_clock::now();
        while (Since(begun) < timeout) {
            fd_set waiting = {};
            FD_SET(listener_.get(), &waiting);
            timeval second = {1, 0};
            if (select(0, &waiting, nullptr, nullptr, &second) != 1) {
                continue;
            }
            sockaddr_in address = {};
            int size = sizeof address;
            unique_socket accepted(accept(listener_.get(), reinterpret_cast<sockaddr*>(&address), &size));
            if (!known.contains(address.sin_port)) {
                return accepted;
            }
        }
        return {};
    }

  private:
    unique_socket listener_;
    std::vector<unique_socket> fillers_;
    std::uint16_t port_ = 0;
};

class unload : public testing::Test {
  protected:
    void SetUp() override {
        simulator::registration subject;
        subject.permanent_line_id = 1001;
        subject.tapi_line_name = "Desk 1001";
        service_.AddSoftphone(subject, simulator::announcement::kSilent)->SetAutomatic(false);
        service_.Start();
        service_.Publish();
        module_ = std::make_unique<host::provider_module>(BuiltProviderPath().wstring());
        DWORD lines = 0;
        DWORD phones = 0;
        ASSERT_EQ(module_->TSPI_providerEnumDevices(7, &lines, &phones, nullptr, tapi_.Procedure(), nullptr),
                  0);
        ASSERT_EQ(module_->TSPI_providerInit(kVersion, 7, 1, 0, 1, 0, nullptr, nullptr), 0);
        ASSERT_EQ(module_->TSPI_lineOpen(1, AsHandle<HTAPILINE>(0xA1), &line_, kVersion, tapi_.Procedure()),
                  0);
    }

    void TearDown() override {
        if (module_ != nullptr) {
            (void)module_->TSPI_providerShutdown(kVersion, 7);
        }
    }

    LONG Shutdown() { return module_->TSPI_providerShutdown(kVersion, 7); }

    void Ring() {
        simulator::call_state_event event;
        event.permanent_line_id = 1001;
        event.client_call_id = "in-1";
        event.call_state = "Ringing";
        service_.Send(simulator::CallStateEvent(event));
    }

    log_reader log_ = log_reader::OfProvider();
    simulator::service_simulator service_;
    tapi_recorder tapi_;
    std::unique_ptr<host::provider_module> module_;
    HDRVLINE line_ = nullptr;
};

TEST_F(unload, right_after_shutdown_is_safe) {
    Ring();
    ASSERT_TRUE(tapi_.WaitForCount(3, kSoon));
    ASSERT_EQ(Shutdown(), 0);
    module_ = nullptr;
    EXPECT_TRUE(IsUnloadedWithin(kSoon));
}

TEST_F(unload, without_shutdown_leaves_it_running_until_somebody_shuts_it_down) {
    module_ = nullptr;
    EXPECT_NE(GetModuleHandleW(L"Brivelnox.tsp"), nullptr) << "its threads still run in it";
    Ring();
    EXPECT_TRUE(tapi_.WaitForCount(3, kSoon));
    module_ = std::make_unique<host::provider_module>(BuiltProviderPath().wstring());
    EXPECT_EQ(Shutdown(), 0);
    module_ = nullptr;
    EXPECT_TRUE(IsUnloadedWithin(kSoon));
}

TEST_F(unload, while_a_callback_is_still_inside_waits_for_it_in_the_background) {
    signal inside;
    signal release;
    signal left;
    tapi_.SetReaction([&](const tapi_event& event) {
        if (event.message == static_cast<DWORD>(LINE_CALLSTATE) && !inside.IsSet()) {
            inside.Set();
            (void)release.Wait(milliseconds(60000));
            left.Set();
        }
    });
    Ring();
    ASSERT_TRUE(inside.Wait(kSoon));
    const auto begun = steady_clock::now();
    ASSERT_EQ(Shutdown(), 0);
    EXPECT_LT(Since(begun), milliseconds(12000));
    const std::size_t told = tapi_.Count();
    module_ = nullptr;
    EXPECT_NE(GetModuleHandleW(L"Brivelnox.tsp"), nullptr) << "its reader is still inside it";
    release.Set();
    ASSERT_TRUE(left.Wait(kSoon));
    EXPECT_TRUE(IsUnloadedWithin(kSoon));
    EXPECT_EQ(tapi_.Count(), told);
}

/// In real time: the timer ticks for the first time after half a minute.
class unload_while_reconnecting : public unload {};

TEST_F(unload_while_reconnecting, stays_within_its_bounds_and_is_safe) {
    if (!RunsUnderWine()) {
        GTEST_SKIP()
            << "Windows refuses a connection that finds the queue full, instead of leaving it waiting";
    }
    const auto started = steady_clock::now();
    stuck_port stuck;
    service_.Stop();
    service_.Publication().Publish(stuck.Port());
    ASSERT_TRUE(log_.WaitFor("RsTspClient", Text("Connect to port %d", static_cast<int>(stuck.Port())),
                             milliseconds(40000)));
    EXPECT_GE(Since(started), milliseconds(29000));

    const auto begun = steady_clock::now();
    ASSERT_EQ(Shutdown(), 0);
    const milliseconds took = Since(begun);
    std::printf("shut down after %lld ms while a tick was connecting\n",
                static_cast<long long>(took.count()));
    // 10 s for the timer, 10 s for its queue; 5 s for a reader that is not there.
    EXPECT_LT(took, milliseconds(26000));
    EXPECT_GT(took, milliseconds(9000)) << "the tick was not connecting at all";
    const std::size_t told = tapi_.Count();
    log_.Skip();
    module_ = nullptr;
    EXPECT_NE(GetModuleHandleW(L"Brivelnox.tsp"), nullptr) << "its tick is still inside it";

    // The connection comes about when the system knocks again, and is given up at once.
    const unique_socket late = stuck.AcceptWaiting(milliseconds(60000));
    ASSERT_TRUE(late);
    char byte = 0;
    EXPECT_LE(recv(late.get(), &byte, 1, 0), 0) << "the provider has sent something";
    EXPECT_EQ(tapi_.Count(), told);
    EXPECT_THAT(log_.Lines(), testing::IsEmpty());
}

}  // namespace
}  // namespace brivelnox::test
