#include "core/RefCount.h"

#include "libOS/Atomics.h"

RefCount::RefCount(bool deleteAtZero) noexcept : count_(0), deleteAtZero_(deleteAtZero) {}

RefCount::~RefCount() = default;

unsigned int RefCount::incRef() noexcept
{
  return OSAtomics::incRef(&count_);
}

unsigned int RefCount::decRef()
{
  const unsigned int remaining = OSAtomics::decRef(&count_);
  if (remaining != 0) return remaining;
  // The list is copied first: a client may destroy whatever owns this counter,
  // and with deleteAtZero the counter is gone before the first client hears.
  const Vector<RefCountClient*> clients(clients_);
  if (deleteAtZero_) delete this;
  for (unsigned int k = 0; k < clients.size(); ++k) clients.at(k)->refCountReachedZero();
  return 0;
}

unsigned int RefCount::count() const noexcept
{
  return OSAtomics::load(&count_);
}

void RefCount::addClient(RefCountClient* client)
{
  unsigned int index = 0;
  clients_.intern(client, index);
}

bool RefCount::removeClient(RefCountClient* client)
{
  return clients_.removeItem(client);
}
