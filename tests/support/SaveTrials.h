// Crash safety of a save: a child process that saves two known contents in
// turn is killed at random moments, and the file must then hold one of them
// whole. A save that wrote in place would show a torn file within a few
// trials.
#pragma once

#include <functional>
#include <string>

namespace zrtest {

// `size` bytes of a repeating pattern that starts at `seed`.
std::string pattern(size_t size, unsigned char seed);

struct SaveTrialResult
{
  int small = 0;        // trials that found the small content
  int large = 0;        // trials that found the large content
  std::string failure;  // what a trial found instead, or empty
};

using SaveFn = std::function<bool(const std::string& path, const std::string& content)>;

// Saves `small` first, then runs `trials` children, each saving `large` and
// `small` in turn until it is killed. The kills spread over one cycle of the
// two saves from the moment the child is ready; when `trials` have not seen
// both contents, up to seven times as many more run in a widening window.
SaveTrialResult killWhileSaving(const std::string& path, const std::string& small, const std::string& large,
                                const SaveFn& save, int trials, unsigned int seed);

} // namespace zrtest
