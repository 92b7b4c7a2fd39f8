#pragma once

// What the setup does, as steps that can be taken back.

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace brivelnox::setup {

/// One change of the machine, and the way back. Used by one thread.
class step {
  public:
    step() = default;
    virtual ~step() = default;
    step(const step&) = delete;
    step& operator=(const step&) = delete;

    /// What the step does, as its line says it.
    [[nodiscard]] virtual std::string Title() const = 0;

    /// Does it and returns what came of it, in a few words. Where it fails it throws, and may have done a
    /// part.
    virtual std::string Do() = 0;

    /// Takes back what Do has done: all of it, or the part that it had done when it threw. Returns whether
    /// there was anything. Throws where it cannot be taken back.
    virtual bool Undo() { return false; }

    /// Every step has succeeded and nothing will be undone any more: does away with what Undo would have
    /// needed. Returns whether that waits for the machine's next start.
    virtual bool Finish() { return false; }
};

using step_list = std::vector<std::unique_ptr<step>>;

enum class outcome {
    kDone,
    kDoneAtNextStart,  ///< done, but the machine has to be started again
    kUndone,           ///< a step failed
};

/// Takes one line about one step. It must not throw.
using reporter = std::function<void(const std::string& line)>;

/// Does one step after the other. When one fails, it and those before it are undone, the last one first; a
/// step that cannot be undone is reported and does not keep the others from it.
outcome RunSteps(const step_list& steps, const reporter& report);

}  // namespace brivelnox::setup
