#pragma once

// A listening simulator and clients of it.

#include <chrono>
#include <cstddef>

#include <gtest/gtest.h>

#include "tests/tools/socket_client_helper.h"
#include "tools/service_simulator/service_simulator.h"

namespace brivelnox::test {

inline constexpr std::chrono::milliseconds kPatience{10000};
// For what must not happen.
inline constexpr std::chrono::milliseconds kMoment{150};
inline constexpr char kListRequest[] = "<msg><request id='0'><GetClientRegistrations/></request></msg>";
inline constexpr char kKeepAlive[] = "<msg><request id='1'><KeepAlive/></request></msg>";
inline constexpr char kPlaceCall[] =
    "<msg><request><placeCall permanentLineId='7' phoneNumber='200' "
    "requestedClientCallId='c1'/></request></msg>";
inline constexpr char kEmptyList[] =
    "<msg><response id='0'><RegistrationList></RegistrationList></response></msg>";

class simulated_service : public testing::Test {
  protected:
    void SetUp() override { service_.Start(); }
    void TearDown() override { simulator::registry_publication().Remove(); }
    /// A client that the service has accepted.
    socket_client Connect() {
        const std::size_t before = service_.AcceptedCount();
        socket_client client(service_.Port());
        EXPECT_TRUE(service_.WaitForConnection(kPatience, before + 1));
        return client;
    }

    simulator::service_simulator service_;
};

}  // namespace brivelnox::test
