#include "tools/setup/telephony_services.h"

#include <chrono>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/setup/fake_machine_helper.h"
#include "tests/support/signal.h"
#include "tools/setup/failure.h"

namespace brivelnox::test {
namespace {

using namespace std::chrono_literals;
using setup::kTelephonyService;
using setup::telephony_services;
using testing::ElementsAre;
using testing::IsEmpty;

class telephony_services_of_a_machine : public testing::Test {
  protected:
    telephony_services_of_a_machine() {
        manager_.AddService(kTelephonyService, SERVICE_RUNNING);
        manager_.AddDependent(L"RasMan", SERVICE_RUNNING);
        manager_.AddDependent(L"Fax", SERVICE_STOPPED);
        manager_.AddDependent(L"RemoteAccess", SERVICE_RUNNING);
    }

    fake_service_manager manager_;
};

TEST_F(telephony_services_of_a_machine, stop_before_what_they_depend_on_and_start_after_it) {
    telephony_services services(manager_, kSoon);
    services.Stop();
    EXPECT_EQ(manager_.State(kTelephonyService), SERVICE_STOPPED);
    services.StartAgain();
    EXPECT_THAT(manager_.asked, ElementsAre(L"stop RemoteAccess", L"stop RasMan", L"stop TapiSrv",
                                            L"start TapiSrv", L"start RasMan", L"start RemoteAccess"));
    EXPECT_EQ(manager_.State(L"RasMan"), SERVICE_RUNNING);
    EXPECT_EQ(manager_.State(L"Fax"), SERVICE_STOPPED);
}

TEST_F(telephony_services_of_a_machine, are_waited_for) {
    manager_.StopsSlowly(3);
    telephony_services services(manager_, kSoon);
    services.Stop();
    EXPECT_EQ(manager_.State(kTelephonyService), SERVICE_STOPPED);
    EXPECT_EQ(manager_.State(L"RasMan"), SERVICE_STOPPED);
}

TEST_F(telephony_services_of_a_machine, are_stopped_again_when_a_client_starts_them_again) {
    telephony_services services(manager_, kSoon);
    manager_.ClientsStartAgain(2);
    services.Stop();
    EXPECT_EQ(manager_.State(kTelephonyService), SERVICE_STOPPED);
    EXPECT_EQ(std::ranges::count(manager_.asked, L"stop TapiSrv"), 3);
}

TEST_F(telephony_services_of_a_machine, are_not_waited_for_longer_than_the_patience) {
    manager_.NeverStops(kTelephonyService);
    telephony_services services(manager_, 10ms);
    EXPECT_THROW(services.Stop(), setup::failure);
    // What could be stopped is started again.
    services.StartAgain();
    EXPECT_EQ(manager_.State(L"RasMan"), SERVICE_RUNNING);
}

TEST_F(telephony_services_of_a_machine, that_depend_and_do_not_stop_keep_it_running) {
    manager_.NeverStops(L"RasMan");
    telephony_services services(manager_, 10ms);
    EXPECT_THROW(services.Stop(), setup::failure);
    EXPECT_EQ(manager_.State(kTelephonyService), SERVICE_RUNNING);
}

TEST_F(telephony_services_of_a_machine, stay_stopped_if_they_were) {
    fake_service_manager manager;
    manager.AddService(kTelephonyService, SERVICE_STOPPED);
    telephony_services services(manager, kSoon);
    services.Stop();
    services.StartAgain();
    EXPECT_THAT(services.Remembered(), IsEmpty());
    EXPECT_THAT(manager.asked, IsEmpty());
}

TEST_F(telephony_services_of_a_machine, have_failed_to_start_when_they_end_right_away) {
    telephony_services services(manager_, kSoon);
    services.Stop();
    manager_.FailsToStartOnce(L"RasMan");
    EXPECT_THROW(services.StartAgain(), setup::failure);
    EXPECT_EQ(manager_.State(kTelephonyService), SERVICE_RUNNING);
}

TEST(machine_without_telephony_service, has_no_telephony_services) {
    fake_service_manager manager;
    EXPECT_THROW(telephony_services(manager, kSoon), setup::failure);
}

}  // namespace
}  // namespace brivelnox::test
