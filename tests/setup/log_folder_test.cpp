// The folders of the log: who may use them, and what has their place already.

#include "tools/setup/log_folder.h"

#include <windows.h>
#include <aclapi.h>
#include <sddl.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/setup/fake_machine_helper.h"
#include "tests/setup/foreign_things_helper.h"
#include "tests/support/missing_common_folder.h"
#include "tools/setup/failure.h"
#include "tools/setup/files.h"

namespace brivelnox::test {
namespace {

namespace fs = std::filesystem;
using setup::folder_access;
using setup::look_through_folder;
using setup::make_folder;
using testing::HasSubstr;
using testing::Not;

constexpr wchar_t kProtected[] = L"O:BAD:PAI(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1301bf;;;NS)";

/// Owner and rights in the system's own notation.
std::wstring DescriptorText(const fs::path& path) {
    setup::unique_descriptor descriptor;
    wchar_t* text = nullptr;
    constexpr SECURITY_INFORMATION kWhat = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
    EXPECT_EQ(GetNamedSecurityInfoW(std::wstring(path).data(), SE_FILE_OBJECT, kWhat, nullptr, nullptr,
                                    nullptr, nullptr, descriptor.put()),
              ERROR_SUCCESS);
    EXPECT_TRUE(ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor.get(), SDDL_REVISION_1, kWhat,
                                                                     &text, nullptr));
    const std::wstring result = text == nullptr ? L"" : text;
    (void)LocalFree(text);
    return result;
}

class log_folder : public testing::Test {
  protected:
    log_folder() { fs::create_directories(machine_.where.maker_folder); }

    fs::path Folder() const { return machine_.where.OwnFolder(); }

    fake_machine machine_;
};

template <class Step>
void ExpectRefusal(Step& step, const std::string& why) {
    try {
        (void)step.Do();
        ADD_FAILURE() << "not refused";
    } catch (const setup::failure& failure) {
        EXPECT_THAT(failure.what(), HasSubstr(why));
    }
}

TEST_F(log_folder, is_made_for_the_system_administrators_and_the_service) {
    make_folder step(Folder(), folder_access::kLog);
    (void)step.Do();
    if (RunsUnderWine()) {
        // It keeps rights as the bits of the system beneath it, and no owner but its own user.
        EXPECT_THAT(DescriptorText(Folder()), Not(HasSubstr(L";WD)")));
    } else {
        EXPECT_EQ(DescriptorText(Folder()), kProtected);
    }
    WriteText(Folder() / L"a.log", "a");
    step.Undo();
    EXPECT_FALSE(fs::exists(Folder()));
}

TEST_F(log_folder, that_was_there_is_taken_from_everybody_else_and_given_back) {
    fs::create_directories(Folder());
    const std::wstring before = DescriptorText(Folder());
    make_folder step(Folder(), folder_access::kLog);
    (void)step.Do();
    const std::wstring after = DescriptorText(Folder());
    step.Undo();
    EXPECT_EQ(DescriptorText(Folder()), before);
    if (RunsUnderWine()) {
        GTEST_SKIP() << "Wine adds the rights of the folder above to what is set, also where it should not";
    }
    EXPECT_EQ(after, kProtected);
}

TEST_F(log_folder, of_the_maker_keeps_the_rights_that_it_has) {
    const std::wstring before = DescriptorText(machine_.where.maker_folder);
    make_folder step(machine_.where.maker_folder, folder_access::kInherited);
    (void)step.Do();
    EXPECT_EQ(DescriptorText(machine_.where.maker_folder), before);
    step.Undo();
    EXPECT_TRUE(fs::exists(machine_.where.maker_folder));
}

TEST_F(log_folder, is_not_a_link_to_another_place) {
    const fs::path target = machine_.Source().parent_path();
    if (!MakeFolderLink(Folder(), target)) {
        GTEST_SKIP() << "this user can make no link to a folder";
    }
    make_folder step(Folder(), folder_access::kLog);
    const std::wstring before = DescriptorText(target);
    ExpectRefusal(step, "Brivelnox.Tsp is a link to another place");
    step.Undo();
    EXPECT_EQ(DescriptorText(target), before);
    EXPECT_TRUE(setup::IsLink(Folder()));
    EXPECT_TRUE(fs::exists(machine_.Source()));
}

TEST_F(log_folder, of_somebody_else_is_refused) {
    fs::create_directories(Folder());
    if (!GiveToStranger(Folder())) {
        GTEST_SKIP() << "this user can give nothing away";
    }
    make_folder step(Folder(), folder_access::kLog);
    ExpectRefusal(step, "belongs to somebody who is no administrator");
}

TEST_F(log_folder, holds_nothing_of_somebody_else) {
    fs::create_directories(Folder() / L"logs" / L"bak");
    WriteText(Folder() / L"logs" / L"bak" / L"a.log", "a");
    look_through_folder step(Folder());
    (void)step.Do();
    if (!GiveToStranger(Folder() / L"logs" / L"bak" / L"a.log")) {
        GTEST_SKIP() << "this user can give nothing away";
    }
    ExpectRefusal(step, "a.log belongs to somebody who is no administrator");
}

TEST_F(log_folder, holds_no_link_to_another_place) {
    fs::create_directories(Folder() / L"logs");
    if (!MakeFolderLink(Folder() / L"logs" / L"bak", machine_.Source().parent_path())) {
        GTEST_SKIP() << "this user can make no link to a folder";
    }
    look_through_folder step(Folder());
    ExpectRefusal(step, "bak is a link to another place");
}

TEST_F(log_folder, with_a_link_is_deleted_without_what_the_link_leads_to) {
    if (RunsUnderWine()) {
        GTEST_SKIP() << "Wine deletes what a link leads to, and not the link";
    }
    fs::create_directories(Folder());
    if (!MakeFolderLink(Folder() / L"logs", machine_.Source().parent_path())) {
        GTEST_SKIP() << "this user can make no link to a folder";
    }
    EXPECT_TRUE(setup::DeleteTree(Folder()));
    EXPECT_FALSE(fs::exists(Folder()));
    EXPECT_TRUE(fs::exists(machine_.Source()));
}

}  // namespace
}  // namespace brivelnox::test
