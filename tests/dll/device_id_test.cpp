// The device identifier that belongs to a line, in its VARSTRING byte by byte.

#include <winsock2.h>
#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "tests/dll/byte_pattern_helper.h"
#include "tests/dll/provider_fixture_helper.h"
#include "tests/support/as_handle.h"

namespace brivelnox::test {
namespace {

using testing::IsEmpty;

patterned_structure Expected(std::size_t size, DWORD device) {
    patterned_structure answer(size);
    answer.Set(4, 28).Set(8, 28);
    answer.Set(16, 4).Set(20, 24);  // the string; its format at 12 stays
    answer.Set(24, device);
    return answer;
}

class device_id : public hosted_provider {
  protected:
    void SetUp() override {
        AddPhone(1001, "Desk 1001");
        AddPhone(1002, "Desk 1002");
        host_.Options().device_id_base = 40;
        StartAll();
        log_.Skip();
    }

    LONG Get(patterned_structure& answer, const wchar_t* device_class, std::uintptr_t line = 1,
             DWORD select = LINECALLSELECT_LINE) {
        return module_.TSPI_lineGetID(AsHandle<HDRVLINE>(line), 0, nullptr, select, answer.As<VARSTRING>(),
                                      device_class, nullptr);
    }
};

TEST_F(device_id, is_these_bytes_and_no_others) {
    for (const std::size_t size : {std::size_t{28}, std::size_t{29}, std::size_t{100}}) {
        patterned_structure answer(size);
        ASSERT_EQ(Get(answer, L"tapi/line"), 0) << size;
        EXPECT_TRUE(SameBytes(Expected(size, 40), answer)) << size;
    }
    patterned_structure second(28);
    ASSERT_EQ(Get(second, L"tapi/line", 2), 0);
    EXPECT_TRUE(SameBytes(Expected(28, 41), second));
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(device_id, takes_the_class_without_regard_to_case) {
    for (const wchar_t* const device_class : {L"TAPI/LINE", L"Tapi/Line", L"tApI/lInE"}) {
        patterned_structure answer(28);
        EXPECT_EQ(Get(answer, device_class), 0);
        EXPECT_TRUE(SameBytes(Expected(28, 40), answer));
    }
}

TEST_F(device_id, exists_for_no_other_class) {
    const wchar_t* const classes[] = {L"tapi/phone", L"tapi/line2", L"tapi/linedevice", L"tapi/lin",  L"tapi",
                                      L"",           L"wave/in",    L" tapi/line",      L"tapi/line "};
    for (const wchar_t* const device_class : classes) {
        patterned_structure answer(28);
        EXPECT_EQ(Get(answer, device_class), kNoDevice) << testing::PrintToString(std::wstring(device_class));
        EXPECT_TRUE(SameBytes(patterned_structure(28), answer));
    }
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(device_id, exists_for_no_class_that_is_longer_than_any) {
    for (const std::size_t length : {41u, 42u, 43u, 5000u}) {
        for (const wchar_t filler : {L'x', L' '}) {
            const std::wstring device_class = (L"tapi/line" + std::wstring(length, filler)).substr(0, length);
            patterned_structure answer(28);
            EXPECT_EQ(Get(answer, device_class.c_str()), kNoDevice) << length;
            EXPECT_TRUE(SameBytes(patterned_structure(28), answer));
        }
    }
}

TEST_F(device_id, needs_all_of_its_room) {
    for (const std::size_t size : {std::size_t{27}, std::size_t{24}, std::size_t{12}}) {
        patterned_structure answer(size);
        EXPECT_EQ(Get(answer, L"tapi/line"), kStructureTooSmall) << size;
        patterned_structure expected(size);
        expected.Set(4, 28);
        EXPECT_TRUE(SameBytes(expected, answer)) << size;
    }
}

TEST_F(device_id, is_that_of_the_line_whatever_is_selected) {
    for (const DWORD select : {DWORD{LINECALLSELECT_LINE}, DWORD{LINECALLSELECT_ADDRESS},
                               DWORD{LINECALLSELECT_CALL}, DWORD{0}, DWORD{0xFFFFFFFF}}) {
        patterned_structure answer(28);
        EXPECT_EQ(Get(answer, L"tapi/line", 1, select), 0);
        EXPECT_TRUE(SameBytes(Expected(28, 40), answer));
    }
    patterned_structure answer(28);
    EXPECT_EQ(
        module_.TSPI_lineGetID(AsHandle<HDRVLINE>(1), 4711, AsHandle<HDRVCALL>(4711), LINECALLSELECT_CALL,
                               answer.As<VARSTRING>(), L"tapi/line", AsHandle<HANDLE>(4711)),
        0);
    EXPECT_TRUE(SameBytes(Expected(28, 40), answer));
}

TEST_F(device_id, checks_the_class_first_then_the_room_then_the_line) {
    patterned_structure small(27);
    EXPECT_EQ(Get(small, L"tapi/phone", 99), kNoDevice);
    EXPECT_EQ(Get(small, L"tapi/line", 99), kStructureTooSmall);
    patterned_structure answer(28);
    EXPECT_EQ(Get(answer, L"tapi/line", 99), kOperationFailed);
    patterned_structure expected(28);
    expected.Set(4, 28);
    EXPECT_TRUE(SameBytes(expected, answer));
    EXPECT_THAT(log_.Lines(), IsEmpty());
}

}  // namespace
}  // namespace brivelnox::test
