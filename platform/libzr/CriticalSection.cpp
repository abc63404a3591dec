#include "libzr/CriticalSection.h"

#include "libOS/OS.h"

namespace {

// This object holds one reference on the platform section, by hand, since a
// Zr::Ptr member would rule out constant initialisation.
void dropReference(iCriticalSection* section)
{
  if (OSAtomics::decRef(section->refCountWord()) == 0) delete section;
}

} // namespace

CriticalSection::~CriticalSection()
{
  iCriticalSection* section = section_.exchange(nullptr);
  // A thread still inside at exit may yet call leave: let it find live memory.
  if (section && section->owner() == 0) dropReference(section);
}

iCriticalSection* CriticalSection::section() const
{
  iCriticalSection* section = section_.load(std::memory_order_acquire);
  if (section) return section;
  Zr::Ptr<iCriticalSection> made = OS()->threadMgr()->createCriticalSection(name_);
  if (!made) return nullptr;
  iCriticalSection* raw = made.get();
  OSAtomics::incRef(raw->refCountWord());
  iCriticalSection* expected = nullptr;
  if (section_.compare_exchange_strong(expected, raw, std::memory_order_acq_rel)) return raw;
  // Another thread made one first; use that.
  dropReference(raw);
  return expected;
}

void CriticalSection::enter()
{
  if (iCriticalSection* s = section()) s->enter();
}

bool CriticalSection::tryEnter()
{
  iCriticalSection* s = section();
  return s && s->tryEnter();
}

bool CriticalSection::leave()
{
  iCriticalSection* s = section_.load(std::memory_order_acquire);
  return s && s->leave();
}

unsigned int CriticalSection::owner() const
{
  // A section never made has never been entered.
  iCriticalSection* s = section_.load(std::memory_order_acquire);
  return s ? s->owner() : 0;
}

unsigned int CriticalSection::depth() const
{
  iCriticalSection* s = section_.load(std::memory_order_acquire);
  return s ? s->depth() : 0;
}
