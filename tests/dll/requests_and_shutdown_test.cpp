// A request that a shutdown meets is done and completes, or nothing of it is done and it fails.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/dll/raw_provider_helper.h"
#include "tests/support/as_handle.h"
#include "tests/support/busy_processors.h"
#include "tests/support/signal.h"
#include "tests/support/worker.h"

namespace brivelnox::test {
namespace {

using std::chrono::milliseconds;

/// Two open lines. A shutdown closes the first one first.
class requests_and_shutdown : public raw_provider {
  protected:
    static constexpr std::int32_t kFirstPhone = 1001;
    static constexpr std::int32_t kSecondPhone = 1002;
    static constexpr std::uintptr_t kFirstLine = 0xA1;
    static constexpr std::uintptr_t kSecondLine = 0xA2;
    /// TAPI's handle of a call that a request makes.
    static constexpr std::uintptr_t kMadeCall = 0xC1;

    void Start() {
        ASSERT_EQ(Enumerate(), 0);
        ASSERT_EQ(Init(5), 0);
        first_line_ = Open(5, kFirstLine);
        second_line_ = Open(6, kSecondLine);
        calls_ = 0;
    }

    HDRVLINE Open(DWORD device, std::uintptr_t tapi_line) {
        HDRVLINE line = nullptr;
        EXPECT_EQ(
            module_.TSPI_lineOpen(device, AsHandle<HTAPILINE>(tapi_line), &line, kVersion, tapi_.Procedure()),
            0);
        return line;
    }

    /// A call of the softphone's that is brought into this state. The driver numbers calls from 1.
    HDRVCALL Call(std::int32_t phone, const std::string& id, const std::string& state) {
        Play(phone, id, state);
        EXPECT_TRUE(Settled(phone));
        return AsHandle<HDRVCALL>(++calls_);
    }
    /// A consultation call in dial tone.
    HDRVCALL Consultation(HDRVCALL of) {
        HDRVCALL call = nullptr;
        EXPECT_GT(module_.TSPI_lineSetupTransfer(1, of, AsHandle<HTAPICALL>(kMadeCall), &call, nullptr), 0);
        ++calls_;
        return call;
    }

    /// The results that were told for a request.
    [[nodiscard]] std::vector<LONG> CompletionsOf(DRV_REQUESTID id) const {
        std::vector<LONG> results;
        for (const completion& each : completions_.Completions()) {
            if (each.request_id == id) {
                results.push_back(each.result);
            }
        }
        return results;
    }

    HDRVLINE first_line_ = nullptr;
    HDRVLINE second_line_ = nullptr;
    std::uintptr_t calls_ = 0;
};

/// Applications that ask all the time, so that a request has to share the provider with them.
class asking_applications {
  public:
    explicit asking_applications(const host::provider_module& module) {
        for (int i = 0; i < kCount; ++i) {
            threads_.push_back(std::make_unique<worker>([this, &module] {
                while (!done_) {
                    LINECALLSTATUS status = {};
                    (void)module.TSPI_lineGetCallStatus(nullptr, &status);
                }
            }));
        }
    }
    ~asking_applications() { done_ = true; }
    asking_applications(const asking_applications&) = delete;
    asking_applications& operator=(const asking_applications&) = delete;

  private:
    static constexpr int kCount = 4;

    std::atomic<bool> done_{false};
    std::vector<std::unique_ptr<worker>> threads_;
};

/// A request tells a state, and the application does not come back from that message while the provider is
/// shut down.
class request_that_tells_and_shutdown : public requests_and_shutdown {
  protected:
    /// Which of the two gets on first, when the application comes back, differs from time to time.
    static constexpr int kRounds = 30;

    /// When the application comes back from the message.
    enum class comes_back {
        kInTime,  ///< the shutdown is waiting for it
        kLate,    ///< the shutdown has returned
    };
    using request = std::function<LONG(DRV_REQUESTID)>;

    /// Makes the request, whose first message is of this state. Returns whether it was accepted and
    /// completed.
    bool Completes(DWORD state, const request& ask, comes_back when) {
        signal inside;
        signal release;
        std::atomic<bool> is_first{true};
        tapi_.SetReaction([&](const tapi_event& event) {
            if (event.message == static_cast<DWORD>(LINE_CALLSTATE) && event.param1 == state &&
                is_first.exchange(false)) {
                inside.Set();
                EXPECT_TRUE(release.Wait());
            }
        });
        const DRV_REQUESTID id = ++last_request_;
        LONG returned = 0;
        log_.Skip();
        {
            worker asking([&] { returned = ask(id); });
            EXPECT_TRUE(inside.Wait());
            worker stopping([this] { EXPECT_EQ(Shutdown(), 0); });
            EXPECT_TRUE(log_.WaitFor("LineManager", "CleanUp", kSoon));
            if (when == comes_back::kLate) {
                EXPECT_TRUE(stopping.FinishesWithin(kSoon));
            }
            const asking_applications others(module_);
            release.Set();
            EXPECT_TRUE(asking.FinishesWithin(kSoon));
        }
        tapi_.SetReaction({});
        EXPECT_FALSE(IsInitialised());
        return returned == static_cast<LONG>(id) && CompletionsOf(id) == std::vector<LONG>{0};
    }

    void ExpectToComplete(DWORD state, const std::function<request()>& prepare) {
        int completed = 0;
        for (int round = 0; round < kRounds; ++round) {
            Start();
            completed += Completes(state, prepare(), comes_back::kInTime);
        }
        EXPECT_EQ(completed, kRounds);
    }

    void ExpectToCompleteLate(DWORD state, const std::function<request()>& prepare) {
        Start();
        EXPECT_TRUE(Completes(state, prepare(), comes_back::kLate));
    }

    request Drop() {
        HDRVCALL const call = Call(kFirstPhone, "in-1", "Connected");
        return [this, call](DRV_REQUESTID id) { return module_.TSPI_lineDrop(id, call, nullptr, 0); };
    }
    request Dial() {
        HDRVCALL const call = Consultation(Call(kFirstPhone, "in-1", "Connected"));
        return [this, call](DRV_REQUESTID id) { return module_.TSPI_lineDial(id, call, L"4712", 0); };
    }
    request MakeCall() {
        return [this](DRV_REQUESTID id) {
            HDRVCALL call = nullptr;
            return module_.TSPI_lineMakeCall(id, first_line_, AsHandle<HTAPICALL>(kMadeCall), &call, L"4711",
                                             0, nullptr);
        };
    }

  private:
    DRV_REQUESTID last_request_ = 0x100;
};

TEST_F(request_that_tells_and_shutdown, complete_a_call_that_is_dropped) {
    ExpectToComplete(LINECALLSTATE_DISCONNECTED, [this] { return Drop(); });
}

TEST_F(request_that_tells_and_shutdown, complete_a_number_that_is_dialled) {
    ExpectToComplete(LINECALLSTATE_PROCEEDING, [this] { return Dial(); });
}

TEST_F(request_that_tells_and_shutdown, complete_a_call_that_is_made) {
    ExpectToComplete(LINECALLSTATE_PROCEEDING, [this] { return MakeCall(); });
}

using request_that_tells_and_impatient_shutdown = request_that_tells_and_shutdown;

TEST_F(request_that_tells_and_impatient_shutdown, complete_a_call_that_is_dropped) {
    ExpectToCompleteLate(LINECALLSTATE_DISCONNECTED, [this] { return Drop(); });
}

TEST_F(request_that_tells_and_impatient_shutdown, complete_a_number_that_is_dialled) {
    ExpectToCompleteLate(LINECALLSTATE_PROCEEDING, [this] { return Dial(); });
}

TEST_F(request_that_tells_and_impatient_shutdown, complete_a_call_that_is_made) {
    ExpectToCompleteLate(LINECALLSTATE_PROCEEDING, [this] { return MakeCall(); });
}

class silent_requests_and_shutdown : public requests_and_shutdown {
  protected:
    /// A request, and what became of it.
    struct asked_request {
        DRV_REQUESTID id = 0;
        /// What its message has that no other message has.
        std::string mark;
        std::function<LONG(DRV_REQUESTID)> ask;
        LONG returned = 0;

        void Ask() { returned = ask(id); }
    };

    void SetUp() override {
        requests_and_shutdown::SetUp();
        Start();
    }

    /// Once the provider has gone: the request was sent, accepted and completed, or nothing of it was done.
    void ExpectAllOrNothing(const asked_request& asked, std::size_t since) {
        const std::vector<simulator::received_message> received = service_.Received(since);
        const auto sent = std::count_if(received.begin(), received.end(), [&](const auto& message) {
            return message.text.find(asked.mark) != std::string::npos;
        });
        const bool accepted = asked.returned == static_cast<LONG>(asked.id);
        EXPECT_TRUE(accepted || asked.returned < 0) << asked.mark << ' ' << asked.returned;
        EXPECT_EQ(sent, accepted ? 1 : 0) << asked.mark << (accepted ? " accepted" : " refused");
        EXPECT_EQ(CompletionsOf(asked.id), accepted ? std::vector<LONG>{0} : std::vector<LONG>{})
            << asked.mark;
    }
};

TEST_F(silent_requests_and_shutdown, that_is_closing_another_line_are_done_or_fail) {
    // How long a request that must not be sent is given to be sent all the same.
    constexpr milliseconds kNotSent{300};
    Call(kFirstPhone, "closing", "Connected");
    std::vector<asked_request> asked;
    const auto add = [&](const std::string& mark, std::function<LONG(DRV_REQUESTID)> ask) {
        asked.push_back({static_cast<DRV_REQUESTID>(0x100 + asked.size()), mark, std::move(ask)});
    };
    const auto add_for_call = [&](const char* call_id, const char* state,
                                  std::function<LONG(DRV_REQUESTID, HDRVCALL)> ask) {
        HDRVCALL const call = Call(kSecondPhone, call_id, state);
        add(Text("clientCallId='%s'", call_id),
            [call, ask = std::move(ask)](DRV_REQUESTID id) { return ask(id, call); });
    };
    add_for_call("answer", "Ringing", [this](DRV_REQUESTID id, HDRVCALL call) {
        return module_.TSPI_lineAnswer(id, call, nullptr, 0);
    });
    add_for_call("hold", "Connected",
                 [this](DRV_REQUESTID id, HDRVCALL call) { return module_.TSPI_lineHold(id, call); });
    add_for_call("unhold", "Parked",
                 [this](DRV_REQUESTID id, HDRVCALL call) { return module_.TSPI_lineUnhold(id, call); });
    add_for_call("swap", "Parked", [this](DRV_REQUESTID id, HDRVCALL call) {
        return module_.TSPI_lineSwapHold(id, nullptr, call);
    });
    add_for_call("blind", "Connected", [this](DRV_REQUESTID id, HDRVCALL call) {
        return module_.TSPI_lineBlindTransfer(id, call, L"4711", 0);
    });
    add_for_call("redirect", "Ringing", [this](DRV_REQUESTID id, HDRVCALL call) {
        return module_.TSPI_lineRedirect(id, call, L"4711", 0);
    });
    add_for_call("drop", "Connected", [this](DRV_REQUESTID id, HDRVCALL call) {
        return module_.TSPI_lineDrop(id, call, nullptr, 0);
    });
    HDRVCALL const held = Call(kSecondPhone, "held", "Parked");
    add_for_call("transfer", "Connected", [this, held](DRV_REQUESTID id, HDRVCALL call) {
        return module_.TSPI_lineCompleteTransfer(id, held, call, nullptr, nullptr, LINETRANSFERMODE_TRANSFER);
    });
    HDRVCALL const consultation = Consultation(held);
    add("phoneNumber='4712'", [this, consultation](DRV_REQUESTID id) {
        return module_.TSPI_lineDial(id, consultation, L"4712", 0);
    });
    add("phoneNumber='4713'", [this](DRV_REQUESTID id) {
        HDRVCALL call = nullptr;
        return module_.TSPI_lineMakeCall(id, second_line_, nullptr, &call, L"4713", 0, nullptr);
    });

    const std::size_t since = service_.ReceivedCount();
    std::vector<std::unique_ptr<worker>> threads;
    tapi_.SetReaction([&](const tapi_event& event) {
        if (event.line == kFirstLine && threads.empty()) {
            for (asked_request& each : asked) {
                threads.push_back(std::make_unique<worker>([&each] { each.Ask(); }));
            }
            (void)service_.WaitForMessage([](const auto&) { return true; }, kNotSent, since);
        }
    });
    EXPECT_EQ(Shutdown(), 0);
    threads.clear();
    tapi_.SetReaction({});
    ASSERT_TRUE(service_.WaitForNoConnection(kSoon));
    for (const asked_request& each : asked) {
        ExpectAllOrNothing(each, since);
    }
}

TEST_F(silent_requests_and_shutdown, at_any_moment_are_done_or_fail) {
    constexpr int kRounds = 20;
    constexpr DRV_REQUESTID kThreads = 3;
    const busy_processors load;
    for (int round = 0; round < kRounds; ++round) {
        HDRVCALL const call = Call(kFirstPhone, "in-1", "Connected");
        const std::size_t since = service_.ReceivedCount();
        std::atomic<int> made{0};
        std::vector<std::vector<asked_request>> asked(kThreads);
        {
            std::vector<std::unique_ptr<worker>> threads;
            for (DRV_REQUESTID i = 0; i < kThreads; ++i) {
                threads.push_back(std::make_unique<worker>([&, i] {
                    std::vector<asked_request>& own = asked[i];
                    do {
                        asked_request next;
                        next.id = static_cast<DRV_REQUESTID>(100000 * (i + 1) + 1000 * round + own.size());
                        const std::string number = std::to_string(next.id);
                        next.mark = "phoneNumber='" + number + "'";
                        next.ask = [&](DRV_REQUESTID id) {
                            return module_.TSPI_lineBlindTransfer(
                                id, call, std::wstring(number.begin(), number.end()).c_str(), 0);
                        };
                        next.Ask();
                        own.push_back(next);
                        ++made;
                    } while (own.back().returned == static_cast<LONG>(own.back().id));
                }));
            }
            while (made < 10 + round) {
                std::this_thread::yield();
            }
            EXPECT_EQ(Shutdown(), 0);
        }
        ASSERT_TRUE(service_.WaitForNoConnection(kSoon));
        for (const std::vector<asked_request>& of_thread : asked) {
            for (const asked_request& each : of_thread) {
                ExpectAllOrNothing(each, since);
            }
        }
        Start();
    }
}

}  // namespace
}  // namespace brivelnox::test
