// Fifo, a first-in first-out queue of intrusive elements.
//
// The queue does not own its elements: pop hands each one back to the caller,
// and elements still queued when the queue goes are left alone. No locking:
// the list inside claims itself for one thread per operation (see DLList).
#pragma once

#include "core/DLList.h"

class FifoElement : public DLListRec
{
public:
  ~FifoElement() override = default;
};

class Fifo
{
public:
  Fifo() = default;
  Fifo(const Fifo&) = delete;
  Fifo& operator=(const Fifo&) = delete;

  // Queues the element at the back. The pointer 1 (a freed or poisoned
  // element) prints an assertion and is not queued; so is null.
  void push(FifoElement* element);
  // Takes the element at the front, or null when the queue is empty. An
  // element whose links are the pointer 1 prints an assertion and is left
  // where it is, and null is given.
  FifoElement* pop();

  bool isEmpty() const noexcept { return list_.isEmpty(); }
  unsigned int size() const noexcept { return list_.size(); }

private:
  DLList list_{false};
};
