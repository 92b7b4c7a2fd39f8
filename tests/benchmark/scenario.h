#pragma once

namespace brivelnox::benchmark {

/// What one sample took: the microseconds from its beginning to the moments that count first and last.
struct sample {
    double to_first = 0;
    double to_last = 0;
};

/// Something that is measured: the provider does it, and the floor does what it could not do without in the
/// provider's place.
class scenario {
  public:
    scenario() = default;
    virtual ~scenario() = default;
    scenario(const scenario&) = delete;
    scenario& operator=(const scenario&) = delete;

    /// Whether logs are written with file calls that answer at once.
    virtual void UseInstantFiles(bool instant) = 0;
    virtual sample Provider() = 0;
    virtual sample Floor() = 0;
};

}  // namespace brivelnox::benchmark
