// The small things at the boundary to TAPI.

#include "provider/guarded.h"

#include <stdexcept>

#include "provider/fixed_fields.h"
#include "tests/provider/manager_fixture_helper.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class guarded : public testing::Test {
  protected:
    log_reader log_ = StartProcessLog();
};

TEST_F(guarded, returns_what_the_body_returns_and_logs_nothing) {
    EXPECT_EQ(Guarded(L"text", [] { return 77L; }), 77);
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(guarded, turns_any_exception_into_a_log_line_and_an_error) {
    EXPECT_EQ(Guarded(L"LineX: Caught Exception!", []() -> LONG { throw std::runtime_error("x"); }),
              kOperationFailed);
    EXPECT_EQ(Guarded(L"LineY: Caught Exception!", []() -> LONG { throw 42; }), kOperationFailed);
    EXPECT_THAT(log_.Texts(kManagerCategory),
                ElementsAre("LineX: Caught Exception!", "LineY: Caught Exception!"));
}

TEST_F(guarded, logs_nothing_without_a_text) {
    EXPECT_EQ(Guarded(nullptr, []() -> LONG { throw 42; }), kOperationFailed);
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(guarded, logs_a_text_with_percent_signs_as_it_is) {
    EXPECT_EQ(Guarded(L"100%s %d", []() -> LONG { throw 42; }), kOperationFailed);
    EXPECT_THAT(log_.Texts(kManagerCategory), ElementsAre("100%s %d"));
}

TEST(require, gives_the_object_or_throws) {
    int value = 5;
    EXPECT_EQ(&Require(&value), &value);
    EXPECT_ANY_THROW((void)Require(static_cast<int*>(nullptr)));
}

TEST(supported_version, is_2_with_any_low_word) {
    for (const DWORD version : {0x00020000U, 0x00020002U, 0x00020005U, 0x0002FFFFU}) {
        EXPECT_TRUE(IsSupportedVersion(version)) << std::hex << version;
    }
    for (const DWORD version :
         {0x00000000U, 0x0001FFFFU, 0x00030000U, 0x00000002U, 0x01020000U, 0xFFFFFFFFU}) {
        EXPECT_FALSE(IsSupportedVersion(version)) << std::hex << version;
    }
}

struct some_structure {
    DWORD first = 1;
    DWORD second = 2;
    DWORD third = 3;
};

TEST(fixed_fields, writes_the_fields_of_the_table_and_no_others) {
    constexpr fixed_field<some_structure> kFields[] = {{&some_structure::third, 30},
                                                       {&some_structure::first, 0}};
    some_structure structure;
    WriteFixedFields(structure, kFields);
    EXPECT_EQ(structure.first, 0U);
    EXPECT_EQ(structure.second, 2U);
    EXPECT_EQ(structure.third, 30U);
}

}  // namespace
}  // namespace brivelnox::test
