// Whether the provider is initialised, step by step, with line managers of the test's own making.

#include "provider/provider_lifecycle.h"

#include <cstdint>
#include <thread>
#include <utility>
#include <vector>

#include "tests/provider/manager_fixture_helper.h"
#include "tests/support/as_handle.h"
#include "tests/support/looked_up.h"
#include "tests/support/signal.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr DWORD kPattern = 0xA5A5A5A5;

class provider_lifecycle_steps : public manager_fixture {
  protected:
    LONG Enumerate(provider_lifecycle& lifecycle) {
        return lifecycle.EnumDevices(&line_count_, &phone_count_, AsHandle<HPROVIDER>(0xAB),
                                     tapi_.Procedure());
    }
    LONG Init(provider_lifecycle& lifecycle, DWORD base) {
        return lifecycle.Init(kTspiVersion, base, completions_.Procedure());
    }

    DWORD line_count_ = kPattern;
    DWORD phone_count_ = kPattern;
};

TEST_F(provider_lifecycle_steps, enumeration_makes_lines_without_a_base_and_initialisation_tells_it) {
    std::vector<std::uint32_t> bases;
    provider_lifecycle lifecycle([&](auto calls, std::uint32_t base) {
        bases.push_back(base);
        return KeepLines()(std::move(calls), base);
    });
    EXPECT_EQ(lifecycle.Manager(), nullptr);
    ASSERT_EQ(Enumerate(lifecycle), 0);
    EXPECT_EQ(line_count_, 1U);
    EXPECT_EQ(phone_count_, 0U);
    ASSERT_EQ(Init(lifecycle, 5), 0);
    EXPECT_THAT(bases, ElementsAre(0xFFFFFFFFU)) << "one manager for both";
    EXPECT_NE(lines_->FindLineByDeviceId(5), nullptr);
    EXPECT_EQ(lifecycle.Shutdown(kTspiVersion), 0);
    EXPECT_EQ(lifecycle.Manager(), nullptr);
}

TEST_F(provider_lifecycle_steps, initialisation_first_makes_lines_with_the_base) {
    std::vector<std::uint32_t> bases;
    provider_lifecycle lifecycle([&](auto calls, std::uint32_t base) {
        bases.push_back(base);
        return KeepLines()(std::move(calls), base);
    });
    ASSERT_EQ(Init(lifecycle, 5), 0);
    EXPECT_THAT(bases, ElementsAre(5U));
    EXPECT_EQ(lifecycle.Shutdown(kTspiVersion), 0);
}

TEST_F(provider_lifecycle_steps, lines_that_cannot_be_made_leave_it_initialised) {
    provider_lifecycle lifecycle(&FailToMakeLines);
    EXPECT_EQ(Enumerate(lifecycle), 0);
    EXPECT_EQ(line_count_, 0U);
    EXPECT_EQ(phone_count_, 0U);
    EXPECT_EQ(log_.Count(kManagerCategory, "Brivelnox TSP: FATAL ERROR during initialization"), 1U);
    ASSERT_NE(lifecycle.Manager(), nullptr);
    log_.Skip();
    EXPECT_EQ(Init(lifecycle, 5), 0);
    EXPECT_THAT(ManagerLog(), ElementsAre("TSPI_providerInit", "Initial line count: 0"));
    EXPECT_NE(lifecycle.Manager(), nullptr);
    log_.Skip();
    EXPECT_EQ(lifecycle.Shutdown(kTspiVersion), 0);
    EXPECT_THAT(log_.Texts(),
                ElementsAre("TSPI_providerShutdown", "Brivelnox TSP: CleanUp", "Brivelnox TSP: CleanUp"));
}

TEST_F(provider_lifecycle_steps, a_shutdown_during_the_initialisation_ends_it) {
    provider_lifecycle* self = nullptr;
    LONG shut_down = -1;
    provider_lifecycle lifecycle([&](auto calls, std::uint32_t base) {
        auto lines = KeepLines()(std::move(calls), base);
        shut_down = self->Shutdown(kTspiVersion);
        return lines;
    });
    self = &lifecycle;
    EXPECT_EQ(Init(lifecycle, 5), kOperationFailed);
    EXPECT_EQ(shut_down, 0);
    EXPECT_EQ(Last(ManagerLog()), "Exception in TSPI_providerInit");
    EXPECT_EQ(lifecycle.Manager(), nullptr);

    log_.Skip();
    EXPECT_EQ(Enumerate(lifecycle), kOperationFailed);
    EXPECT_EQ(Last(ManagerLog()), "Exception in TSPI_providerEnumDevices");
    EXPECT_EQ(line_count_, kPattern);
    EXPECT_EQ(lifecycle.Manager(), nullptr);
}

TEST_F(provider_lifecycle_steps, an_exception_takes_a_manager_away_that_was_there_before) {
    provider_lifecycle lifecycle(KeepLines());
    ASSERT_EQ(Enumerate(lifecycle), 0);
    log_.Skip();
    EXPECT_EQ(lifecycle.EnumDevices(nullptr, &phone_count_, nullptr, tapi_.Procedure()), kOperationFailed);
    EXPECT_THAT(ManagerLog(), ElementsAre("TSPI_providerEnumDevices", "InitAppDomain and logging",
                                          "Brivelnox TSP: CleanUp", "Exception in TSPI_providerEnumDevices"));
    EXPECT_EQ(lifecycle.Manager(), nullptr);
}

TEST_F(provider_lifecycle_steps, a_creation_that_fails_leaves_the_manager_of_another_thread_alone) {
    // The first creation is shut down under, and before it gives up another thread makes the next manager.
    provider_lifecycle* self = nullptr;
    int made = 0;
    LONG second = -1;
    provider_lifecycle lifecycle([&](auto calls, std::uint32_t base) {
        auto lines = KeepLines()(std::move(calls), base);
        if (++made == 1) {
            EXPECT_EQ(self->Shutdown(kTspiVersion), 0);
            // Inside the creation lock, which is recursive: as early as another thread could possibly be.
            second = self->Init(kTspiVersion, 9, completions_.Procedure());
        }
        return lines;
    });
    self = &lifecycle;
    EXPECT_EQ(Enumerate(lifecycle), kOperationFailed);
    EXPECT_EQ(second, 0);
    EXPECT_EQ(made, 2);
    ASSERT_NE(lifecycle.Manager(), nullptr) << "the one that Init has made, and told TAPI of";
    EXPECT_EQ(Found(lifecycle.Manager())->LineCount(), 1U);
    EXPECT_EQ(lifecycle.Shutdown(kTspiVersion), 0);
}

TEST_F(provider_lifecycle_steps, a_shutdown_before_the_end_of_the_initialisation_makes_it_fail) {
    provider_lifecycle lifecycle(KeepLines());
    ASSERT_EQ(Enumerate(lifecycle), 0);
    // Numbering the lines waits for the event lock; the shutdown comes meanwhile and is over first.
    signal begun;
    LONG initialised = -1;
    std::thread init;
    {
        const lock_guard events(lines_->EventLock());
        init = std::thread([&] {
            begun.Set();
            initialised = Init(lifecycle, 5);
        });
        EXPECT_TRUE(begun.Wait());
        EXPECT_TRUE(log_.WaitFor(kManagerCategory, "TSPI_providerInit", kSoon));
        EXPECT_EQ(lifecycle.Shutdown(kTspiVersion), 0);
    }
    init.join();
    if (lifecycle.Manager() == nullptr) {
        EXPECT_EQ(initialised, kOperationFailed) << "TAPI must not believe in a manager that is gone";
    } else {
        // The thread had not yet asked for the manager when it was shut down, and has made the next one.
        EXPECT_EQ(initialised, 0);
        EXPECT_EQ(lifecycle.Shutdown(kTspiVersion), 0);
    }
}

TEST_F(provider_lifecycle_steps, nothing_is_initialised_with_a_manager_that_is_being_shut_down) {
    provider_lifecycle lifecycle(KeepLines());
    ASSERT_EQ(Init(lifecycle, 5), 0);
    HDRVLINE line = nullptr;
    ASSERT_EQ(telephony_manager::LineOpen(lifecycle.Manager(), 5, AsHandle<HTAPILINE>(0xA1), &line,
                                          kTspiVersion, tapi_.Procedure()),
              0);
    (void)MakeCall(*lifecycle.Manager());
    LONG initialised = -1;
    tapi_.SetReaction(
        [&](const tapi_event&) { std::thread([&] { initialised = Init(lifecycle, 7); }).join(); });
    EXPECT_EQ(lifecycle.Shutdown(kTspiVersion), 0);
    tapi_.SetReaction({});
    EXPECT_EQ(initialised, kOperationFailed);
    EXPECT_EQ(lifecycle.Manager(), nullptr);
    EXPECT_EQ(Init(lifecycle, 5), 0) << "the next one comes after the shutdown";
    EXPECT_EQ(lifecycle.Shutdown(kTspiVersion), 0);
}

TEST_F(provider_lifecycle_steps, two_threads_that_initialise_share_one_manager) {
    int made = 0;
    signal making;
    signal go_on;
    provider_lifecycle lifecycle([&](auto calls, std::uint32_t base) {
        ++made;
        making.Set();
        (void)go_on.Wait();
        return KeepLines()(std::move(calls), base);
    });
    LONG enumerated = -1;
    std::thread first([&] { enumerated = Enumerate(lifecycle); });
    EXPECT_TRUE(making.Wait());
    LONG initialised = -1;
    std::thread second([&] { initialised = Init(lifecycle, 5); });
    EXPECT_TRUE(log_.WaitFor(kManagerCategory, "TSPI_providerInit", kSoon));
    EXPECT_EQ(lifecycle.Manager(), nullptr) << "nobody gets a manager that is not ready";
    go_on.Set();
    first.join();
    second.join();
    EXPECT_EQ(enumerated, 0);
    EXPECT_EQ(initialised, 0);
    EXPECT_EQ(made, 1);
    EXPECT_EQ(lifecycle.Shutdown(kTspiVersion), 0);
}

TEST_F(provider_lifecycle_steps, a_request_that_holds_the_manager_over_a_shutdown_fails_in_peace) {
    provider_lifecycle lifecycle(KeepLines());
    ASSERT_EQ(Init(lifecycle, 5), 0);
    const auto held = Found(lifecycle.Manager());
    HDRVCALL const call = MakeCall(*held);
    EXPECT_EQ(lifecycle.Shutdown(kTspiVersion), 0);
    lines_ = nullptr;
    EXPECT_EQ(held->Request(kHold, 77, call), kOperationFailed);
    EXPECT_EQ(held->LineCount(), 0U);
    EXPECT_EQ(completions_.Completions().size(), 1U) << "of the call that was made before";
}

TEST_F(provider_lifecycle_steps, a_second_shutdown_finds_nothing_to_do) {
    provider_lifecycle lifecycle(KeepLines());
    ASSERT_EQ(Init(lifecycle, 5), 0);
    EXPECT_EQ(lifecycle.Shutdown(kTspiVersion), 0);
    log_.Skip();
    EXPECT_EQ(lifecycle.Shutdown(kTspiVersion), 0);
    EXPECT_THAT(log_.Texts(), ElementsAre("TSPI_providerShutdown"));
    EXPECT_EQ(lifecycle.Shutdown(0x00010004), kIncompatibleVersion);
}

TEST_F(provider_lifecycle_steps, nothing_is_made_for_a_wrong_version_or_without_a_procedure) {
    int made = 0;
    provider_lifecycle lifecycle([&](auto calls, std::uint32_t base) {
        ++made;
        return FailToMakeLines(std::move(calls), base);
    });
    EXPECT_EQ(lifecycle.Init(0x00030000, 5, nullptr), kIncompatibleVersion);
    EXPECT_EQ(lifecycle.EnumDevices(&line_count_, &phone_count_, nullptr, nullptr), kInvalidPointer);
    EXPECT_EQ(made, 0);
    EXPECT_EQ(lifecycle.Manager(), nullptr);
    EXPECT_THAT(ManagerLog(), ElementsAre("TSPI_providerInit", "TSPI_providerEnumDevices",
                                          "lpfnLineCreateProc is null, return LINEERR_INVALPOINTER"));
}

}  // namespace
}  // namespace brivelnox::test
