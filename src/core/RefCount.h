// RefCount, a counter that tells a list of clients when it reaches zero.
#pragma once

#include "Zr/Vector.h"

// Told once each time the counter it is registered with reaches zero.
class RefCountClient
{
public:
  virtual ~RefCountClient() = default;
  virtual void refCountReachedZero() = 0;
};

class RefCount
{
public:
  // With deleteAtZero the counter deletes itself when it reaches zero, so it
  // must then have been made by new.
  explicit RefCount(bool deleteAtZero = false) noexcept;
  RefCount(const RefCount&) = delete;
  RefCount& operator=(const RefCount&) = delete;
  ~RefCount();

  // Adds one reference atomically; returns the new count.
  unsigned int incRef() noexcept;

  // Takes one reference atomically and returns the remaining count. At zero it
  // deletes itself if asked to, then tells each client in the order they were
  // added. A client may destroy the counter's owner while it is told.
  unsigned int decRef();

  // The current count.
  unsigned int count() const noexcept;

  // Registers a client; one already present is not added twice.
  void addClient(RefCountClient* client);
  // Unregisters a client; false if it was not registered.
  bool removeClient(RefCountClient* client);
  unsigned int numClients() const noexcept { return clients_.size(); }

private:
  unsigned int count_;
  Vector<RefCountClient*> clients_;
  bool deleteAtZero_;
};
