#include "core/Fifo.h"

#include <cstddef>

#include "core/Assert.h"

namespace {

bool isPoison(const void* p)
{
  return reinterpret_cast<size_t>(p) == 1;
}

} // namespace

void Fifo::push(FifoElement* elt)
{
  if (!Zr::softAssert(!isPoison(elt), "(size_t)elt != 1", "misc/fifo line 43")) return;
  if (!elt) return;
  // Links of the pointer 1 betray an element already freed; appending
  // relinks it anyway, so the report is all that is needed.
  Zr::softAssert(!isPoison(elt->next()), "(size_t)elt->next() != 1", "misc/fifo line 44");
  Zr::softAssert(!isPoison(elt->previous()), "(size_t)elt->previous() != 1", "misc/fifo line 45");
  list_.append(elt);
}

FifoElement* Fifo::pop()
{
  DLListRec* first = list_.first();
  if (!first) return nullptr;
  FifoElement* elt = static_cast<FifoElement*>(first);
  if (!Zr::softAssert(!isPoison(elt), "(size_t)elt != 1", "misc/fifo line 57")) return nullptr;
  const bool nextOk = Zr::softAssert(!isPoison(elt->next()), "(size_t)elt->next() != 1", "misc/fifo line 57");
  const bool previousOk =
      Zr::softAssert(!isPoison(elt->previous()), "(size_t)elt->previous() != 1", "misc/fifo line 57");
  // Unlinking through a poisoned link would write to address 1.
  if (!nextOk || !previousOk) return nullptr;
  list_.remove(elt);
  return elt;
}
