#pragma once

namespace brivelnox::benchmark {

/// What one sample has measured, in microseconds: two times, of which each scenario says what they are.
struct sample {
    double first = 0;
    double second = 0;
};

/// Something that is measured: the provider does it, and the floor does what nothing could do without in the
/// provider's place.
class scenario {
  public:
    scenario() = default;
    virtual ~scenario() = default;
    scenario(const scenario&) = delete;
    scenario& operator=(const scenario&) = delete;

    /// Whether both write their logs with file calls that answer at once.
    virtual void UseInstantFiles(bool instant) = 0;
    virtual sample Provider() = 0;
    virtual sample Floor() = 0;
};

}  // namespace brivelnox::benchmark
