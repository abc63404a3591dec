#include "threads/ThreadSafetyTraits.h"

#include <stdexcept>

#include "core/Assert.h"

namespace ZrDC::ThreadSafetyTraits {

void ThreadSafe::enter()
{
  section_.enter();
  if (checked_ && inside_) {
    Zr::assertionFailed("false", "misc/Decoupler line 189");
    section_.leave();
    throw std::runtime_error("Recusive access to lock forbidden.");
  }
  inside_ = true;
}

void ThreadSafe::leave()
{
  inside_ = false;
  section_.leave();
}

} // namespace ZrDC::ThreadSafetyTraits
