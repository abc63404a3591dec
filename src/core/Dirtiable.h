// Dirtiable, the owner of a settings block: it hears when the block changes,
// so that it can save the block at a time of its choosing.
#pragma once

class Dirtiable
{
public:
  virtual ~Dirtiable() = default;

  // A block owned by this object has just become dirty. Called on the thread
  // that changed the block; clearing the dirty state is never reported.
  virtual void setDirty() = 0;
};
