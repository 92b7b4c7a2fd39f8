#include "tests/registry_service/test_link_helper.h"

#include <algorithm>

#include <tinyxml2.h>

namespace brivelnox::test {

std::shared_ptr<test_link> test_link::Make() {
    auto link = std::make_shared<test_link>();
    link->SetOwner(link);
    return link;
}

test_link::~test_link() {
    CloseForGood();
    if (on_destroyed) {
        on_destroyed();
    }
}

std::vector<std::string> test_link::Messages() const {
    const std::lock_guard guard(lock_);
    return messages_;
}

std::vector<std::string> test_link::WaitForMessages(std::size_t count) const {
    std::unique_lock guard(lock_);
    (void)more_.wait_for(guard, kSoon, [&] { return messages_.size() >= count; });
    return messages_;
}

std::vector<std::thread::id> test_link::Threads() const {
    const std::lock_guard guard(lock_);
    return threads_;
}

void test_link::OnMessage(const tinyxml2::XMLElement& message) {
    const std::string name = message.Name();
    {
        const std::lock_guard guard(lock_);
        messages_.push_back(name);
        if (std::find(threads_.begin(), threads_.end(), std::this_thread::get_id()) == threads_.end()) {
            threads_.push_back(std::this_thread::get_id());
        }
    }
    more_.notify_all();
    on_message(name);
}

void test_link::OnReceiveError() {
    receive_error_.Set();
    ended_.Set();
}

void test_link::OnDisconnected() {
    disconnected_.Set();
    ended_.Set();
}

std::string Message(const std::string& name) {
    return "<msg><" + name + "/></msg>";
}

}  // namespace brivelnox::test
