#pragma once

#include <windows.h>

#include <map>
#include <memory>
#include <vector>

namespace brivelnox::tapi32 {

/// What the applications' handles of one kind stand for. A handle is never given out twice, so a stale one is
/// found to be stale. Not locked: the owner does that.
template <class Object>
class handle_table {
  public:
    /// Handles count from `first` on. Each kind has a range of its own, so that one taken for another is
    /// noticed.
    explicit handle_table(DWORD first) : next_(first) {}

    DWORD Add(std::shared_ptr<Object> object) {
        objects_[next_] = std::move(object);
        return next_++;
    }
    /// Null for a handle that is not, or no longer, valid.
    [[nodiscard]] std::shared_ptr<Object> Find(DWORD handle) const {
        const auto found = objects_.find(handle);
        return found == objects_.end() ? nullptr : found->second;
    }
    void Remove(DWORD handle) { objects_.erase(handle); }
    [[nodiscard]] bool Empty() const { return objects_.empty(); }
    /// Every object, in the order in which the handles were given out.
    [[nodiscard]] std::vector<std::shared_ptr<Object>> All() const {
        std::vector<std::shared_ptr<Object>> all;
        for (const auto& [handle, object] : objects_) {
            all.push_back(object);
        }
        return all;
    }

  private:
    DWORD next_;
    std::map<DWORD, std::shared_ptr<Object>> objects_;
};

}  // namespace brivelnox::tapi32
