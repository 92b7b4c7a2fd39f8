#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace brivelnox::stress {

/// A generator of numbers that gives the same ones on every machine and in every build for the same seed. For
/// one thread at a time; each thread has its own, on a stream of its own.
class random_source {
  public:
    /// Streams of one seed have nothing to do with each other.
    explicit random_source(std::uint64_t seed, std::uint64_t stream = 0);

    std::uint64_t Next();
    /// 0 to count - 1; 0 where count is 0. Always one number of the generator.
    std::uint32_t Below(std::size_t count);
    /// low to high, both included.
    std::int32_t Between(std::int32_t low, std::int32_t high);
    [[nodiscard]] bool Chance(std::uint32_t percent);
    /// A generator for one order. However many numbers that takes, which depends on what it finds, the next
    /// order of this thread stays the one that the seed gives.
    [[nodiscard]] random_source Fork();

    template <class T, std::size_t Size>
    const T& Pick(const std::array<T, Size>& values) {
        return values[Below(Size)];
    }

    /// One of the rows by their member `weight`, whose sum must not be 0.
    template <class Table>
    const auto& PickWeighted(const Table& rows) {
        std::uint32_t sum = 0;
        for (const auto& row : rows) {
            sum += row.weight;
        }
        std::uint32_t place = Below(sum);
        for (const auto& row : rows) {
            if (place < row.weight) {
                return row;
            }
            place -= row.weight;
        }
        return *std::begin(rows);
    }

  private:
    std::uint64_t state_;
};

}  // namespace brivelnox::stress
