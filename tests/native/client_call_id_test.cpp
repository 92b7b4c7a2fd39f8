// The ids that the provider proposes for its calls, where the system makes them reluctantly or not at all.

#include "calls/client_call_id.h"

#include <windows.h>
#include <rpc.h>

#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shim/uuid.h"
#include "tests/support/line_fixture.h"

namespace brivelnox::native {
namespace {

TEST(client_call_id, may_be_unique_on_this_machine_alone) {
    const uuid_status local_only(RPC_S_UUID_LOCAL_ONLY);
    EXPECT_NE(NewClientCallId(), NewClientCallId());
}

TEST(client_call_id, is_none_where_the_system_makes_none) {
    const uuid_status failing(RPC_S_UUID_NO_ADDRESS);
    EXPECT_THROW((void)NewClientCallId(), std::runtime_error);
}

using call_without_an_id = test::line_fixture;

TEST_F(call_without_an_id, is_not_placed) {
    Open();
    Forget();
    const uuid_status failing(RPC_S_UUID_NO_ADDRESS);
    EXPECT_THROW((void)PlacedCall(), std::runtime_error);
    EXPECT_THAT(requests_.Requests(), testing::IsEmpty());
}

}  // namespace
}  // namespace brivelnox::native
