#include "streaming/StreamClassRegistrar.h"

#include "streaming/StreamObjectManager.h"

StreamClassRegistrar::StreamClassRegistrar(const LightweightString<char>& shortName,
                                           const LightweightString<char>& fullName, Builder builder)
{
  if (StreamObjectManager* manager = theSOManager()) manager->registerClass(shortName, fullName, builder);
}
