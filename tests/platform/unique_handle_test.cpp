#include "platform/unique_handle.h"

#include <winsock2.h>
#include <windows.h>

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Handles that are plain numbers and remember being closed.
struct counted_traits {
    using type = int;
    static type Empty() noexcept { return -1; }
    static void Close(type handle) noexcept { closed.push_back(handle); }
    static inline std::vector<int> closed;
};

using counted_handle = unique_handle<counted_traits>;

class unique_handle_ownership : public testing::Test {
  protected:
    void SetUp() override { counted_traits::closed.clear(); }
    static const std::vector<int>& Closed() { return counted_traits::closed; }
};

TEST_F(unique_handle_ownership, new_owner_is_empty_and_closes_nothing) {
    {
        const counted_handle handle;
        EXPECT_FALSE(handle);
        EXPECT_EQ(handle.get(), -1);
    }
    EXPECT_THAT(Closed(), IsEmpty());
}

TEST_F(unique_handle_ownership, handle_is_closed_once_when_its_owner_ends) {
    {
        const counted_handle handle(7);
        EXPECT_TRUE(handle);
        EXPECT_EQ(handle.get(), 7);
        EXPECT_THAT(Closed(), IsEmpty());
    }
    EXPECT_THAT(Closed(), ElementsAre(7));
}

TEST_F(unique_handle_ownership, zero_is_a_handle_where_the_empty_value_is_another) {
    { const counted_handle handle(0); }
    EXPECT_THAT(Closed(), ElementsAre(0));
}

TEST_F(unique_handle_ownership, release_gives_the_handle_away_unclosed) {
    {
        counted_handle handle(7);
        EXPECT_EQ(handle.release(), 7);
        EXPECT_FALSE(handle);
    }
    EXPECT_THAT(Closed(), IsEmpty());
}

TEST_F(unique_handle_ownership, reset_closes_early_and_only_once) {
    {
        counted_handle handle(7);
        handle.reset();
        EXPECT_FALSE(handle);
        EXPECT_THAT(Closed(), ElementsAre(7));
        handle.reset();
    }
    EXPECT_THAT(Closed(), ElementsAre(7));
}

TEST_F(unique_handle_ownership, reset_with_another_handle_closes_the_old_one) {
    {
        counted_handle handle(7);
        handle.reset(8);
        EXPECT_EQ(handle.get(), 8);
        EXPECT_THAT(Closed(), ElementsAre(7));
    }
    EXPECT_THAT(Closed(), ElementsAre(7, 8));
}

TEST_F(unique_handle_ownership, address_to_write_to_replaces_the_old_handle) {
    {
        counted_handle handle(7);
        *handle.put() = 8;
        EXPECT_THAT(Closed(), ElementsAre(7));
        EXPECT_EQ(handle.get(), 8);
    }
    EXPECT_THAT(Closed(), ElementsAre(7, 8));
}

TEST_F(unique_handle_ownership, moving_leaves_the_source_empty) {
    {
        counted_handle source(7);
        const counted_handle target(std::move(source));
        EXPECT_FALSE(source);  // NOLINT: that is what is tested
        EXPECT_EQ(target.get(), 7);
    }
    EXPECT_THAT(Closed(), ElementsAre(7));
}

TEST_F(unique_handle_ownership, move_assignment_closes_what_the_target_had) {
    {
        counted_handle source(7);
        counted_handle target(8);
        target = std::move(source);
        EXPECT_THAT(Closed(), ElementsAre(8));
        EXPECT_EQ(target.get(), 7);
    }
    EXPECT_THAT(Closed(), ElementsAre(8, 7));
}

TEST_F(unique_handle_ownership, move_assignment_to_itself_keeps_the_handle) {
    {
        counted_handle handle(7);
        counted_handle& same = handle;
        handle = std::move(same);
        EXPECT_EQ(handle.get(), 7);
        EXPECT_THAT(Closed(), IsEmpty());
    }
    EXPECT_THAT(Closed(), ElementsAre(7));
}

TEST_F(unique_handle_ownership, owners_cannot_be_copied_nor_turn_into_handles_by_themselves) {
    static_assert(!std::is_copy_constructible_v<counted_handle>);
    static_assert(!std::is_copy_assignable_v<counted_handle>);
    static_assert(!std::is_convertible_v<counted_handle, int>);
    static_assert(!std::is_convertible_v<int, counted_handle>);
    SUCCEED();
}

// The owners of the system's own handles: each closes what it owns with the right function.

TEST(unique_handle_kinds, event_is_closed) {
    HANDLE raw = nullptr;
    {
        const unique_event event(CreateEventW(nullptr, TRUE, TRUE, nullptr));
        ASSERT_TRUE(event);
        raw = event.get();
        EXPECT_EQ(WaitForSingleObject(raw, 0), WAIT_OBJECT_0);
    }
    EXPECT_EQ(WaitForSingleObject(raw, 0), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

TEST(unique_handle_kinds, empty_kernel_handle_is_null) {
    EXPECT_EQ(unique_event().get(), nullptr);
    EXPECT_EQ(unique_thread().get(), nullptr);
    EXPECT_EQ(unique_process().get(), nullptr);
    EXPECT_EQ(unique_pipe().get(), nullptr);
    EXPECT_FALSE(unique_event(nullptr));
}

TEST(unique_handle_kinds, file_is_closed_and_a_failed_open_is_empty) {
    wchar_t folder[MAX_PATH] = {};
    ASSERT_NE(GetTempPathW(MAX_PATH, folder), 0u);
    const std::wstring path = std::wstring(folder) + L"unique_handle_test.tmp";
    {
        const unique_file file(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                           FILE_ATTRIBUTE_NORMAL, nullptr));
        ASSERT_TRUE(file);
        // Nobody else may open it while it is held.
        const unique_file second(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                             FILE_ATTRIBUTE_NORMAL, nullptr));
        EXPECT_FALSE(second);
        EXPECT_EQ(second.get(), INVALID_HANDLE_VALUE);
    }
    EXPECT_TRUE(DeleteFileW(path.c_str()));
}

TEST(unique_handle_kinds, search_is_closed_and_a_failed_search_is_empty) {
    wchar_t folder[MAX_PATH] = {};
    ASSERT_NE(GetWindowsDirectoryW(folder, MAX_PATH), 0u);
    WIN32_FIND_DATAW entry = {};
    unique_find search(FindFirstFileW((std::wstring(folder) + L"\\*").c_str(), &entry));
    EXPECT_TRUE(search);
    HANDLE const raw = search.get();
    search.reset();
    EXPECT_FALSE(search);
    EXPECT_FALSE(FindNextFileW(raw, &entry));
    const unique_find none(FindFirstFileW((std::wstring(folder) + L"\\*.no-such-kind").c_str(), &entry));
    EXPECT_FALSE(none);
}

TEST(unique_handle_kinds, registry_key_is_closed) {
    HKEY raw = nullptr;
    {
        unique_registry_key key;
        EXPECT_FALSE(key);
        ASSERT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft", 0, KEY_READ, key.put()),
                  ERROR_SUCCESS);
        EXPECT_TRUE(key);
        raw = key.get();
    }
    EXPECT_EQ(RegQueryInfoKeyW(raw, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr, nullptr),
              ERROR_INVALID_HANDLE);
}

TEST(unique_handle_kinds, socket_is_closed_and_its_empty_value_is_invalid_socket) {
    WSADATA data = {};
    ASSERT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
    EXPECT_EQ(unique_socket().get(), INVALID_SOCKET);
    SOCKET raw = INVALID_SOCKET;
    {
        const unique_socket socket(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
        ASSERT_TRUE(socket);
        raw = socket.get();
    }
    char byte = 0;
    EXPECT_EQ(recv(raw, &byte, 1, 0), SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), WSAENOTSOCK);
}

TEST(unique_handle_kinds, module_is_freed) {
    constexpr wchar_t kModule[] = L"msimg32.dll";
    ASSERT_EQ(GetModuleHandleW(kModule), nullptr);
    {
        const unique_module module(LoadLibraryW(kModule));
        ASSERT_TRUE(module);
        EXPECT_NE(GetModuleHandleW(kModule), nullptr);
    }
    EXPECT_EQ(GetModuleHandleW(kModule), nullptr);
}

}  // namespace
}  // namespace brivelnox::test
