// Streamed objects: a three-layer hierarchy of the host's own, written to a
// file through StreamFile and read back through the stream object manager,
// which builds each object by the hierarchy name it finds in the file.
#include <cstdio>
#include <string>

#include "Report.h"
#include "Steps.h"
#include "streaming/StreamObjectManager.h"
#include "streaming/StreamableTraits.h"
#include "zrbase.h"

namespace zrhost {

// A clip of a timeline: the outer layer.
class HostClip : public Streamable
{
  ZR_STREAMABLE(HostClip, Streamable, "Cl", "HostClip");

public:
  HostClip() = default;
  explicit HostClip(BuilderType type) : Streamable(type) {}

  // Fills every field from the object's number, as the reader expects them.
  virtual void fill(unsigned int i)
  {
    index = i;
    name = LightweightString<char>("clip ") + StringFromInteger(int(i));
    start = i * 0.04;
    duration = 1 + (i % 50) * 0.5;
  }
  // Whether every field of every layer equals other's.
  virtual bool sameAs(const HostClip& other) const
  {
    return index == other.index && name == other.name && start == other.start && duration == other.duration;
  }

  unsigned int index = 0;
  LightweightString<char> name;
  double start = 0;
  double duration = 0;

private:
  void pack(PStream& s) const { s << index << name << start << duration; }
  void unpack(PStream& s) { s >> index >> name >> start >> duration; }
};

// A clip with a picture. Version 1.1 added the aspect ratio; a 1.0 layer
// reads with the default.
class HostVideoClip : public HostClip
{
  ZR_STREAMABLE(HostVideoClip, HostClip, "Vi", "HostVideoClip");

public:
  HostVideoClip() = default;
  explicit HostVideoClip(BuilderType type) : HostClip(type) {}

  void fill(unsigned int i) override
  {
    HostClip::fill(i);
    width = 640 + int(i % 7) * 160;
    height = 360 + int(i % 5) * 90;
    aspect = double(width) / height;
  }
  bool sameAs(const HostClip& other) const override
  {
    const auto* o = dynamic_cast<const HostVideoClip*>(&other);
    return o && HostClip::sameAs(other) && width == o->width && height == o->height && aspect == o->aspect;
  }

  int width = 0;
  int height = 0;
  double aspect = 16.0 / 9;

private:
  void pack(PStream& s) const
  {
    STRM_setLayerVersion(1, 1);
    s << width << height << aspect;
  }
  void unpack(PStream& s)
  {
    s >> width >> height;
    if (STRM_layerMinor() >= 1) s >> aspect;
  }
};

// A picture clip with a colour grade: the innermost layer.
class HostGradedClip : public HostVideoClip
{
  ZR_STREAMABLE(HostGradedClip, HostVideoClip, "Gr", "HostGradedClip");

public:
  HostGradedClip() = default;
  explicit HostGradedClip(BuilderType type) : HostVideoClip(type) {}

  void fill(unsigned int i) override
  {
    HostVideoClip::fill(i);
    gain = 0.5f + float(i % 10) * 0.125f;
    locked = i % 2 == 1;
  }
  bool sameAs(const HostClip& other) const override
  {
    const auto* o = dynamic_cast<const HostGradedClip*>(&other);
    return o && HostVideoClip::sameAs(other) && gain == o->gain && locked == o->locked;
  }

  float gain = 1;
  bool locked = false;

private:
  void pack(PStream& s) const { s << gain << locked; }
  void unpack(PStream& s) { s >> gain >> locked; }
};

ZR_STREAMABLE_REGISTER(HostClip);
ZR_STREAMABLE_REGISTER(HostVideoClip);
ZR_STREAMABLE_REGISTER(HostGradedClip);

namespace {

// Object i of the file: the three classes in turn.
Zr::Ptr<HostClip> makeObject(unsigned int i)
{
  HostClip* object = i % 3 == 0 ? new HostClip : i % 3 == 1 ? new HostVideoClip : new HostGradedClip;
  object->fill(i);
  return Zr::Ptr<HostClip>(object);
}

std::string narrow(const LightweightString<wchar_t>& text)
{
  return toUTF8(text).c_str();
}

// Beside cookie.num, in the default projects folder.
std::string objectsPath()
{
  std::string path = narrow(CookieJar::getCookieDotNumPath());
  const size_t slash = path.rfind('/');
  return (slash == std::string::npos ? std::string() : path.substr(0, slash + 1)) + "zrhost-objects.dat";
}

} // namespace

void showObjects(int count)
{
  section("streamed objects");
  const std::string path = objectsPath();
  const LightweightString<wchar_t> widePath = fromUTF8(LightweightString<char>(path.c_str()));
  std::printf("classes: %s, %s, %s\n", HostClip::subHierarchyName(true, false).c_str(),
              HostVideoClip::subHierarchyName(true, false).c_str(),
              HostGradedClip::subHierarchyName(true, false).c_str());

  unsigned int bytes = 0;
  {
    StreamFile file;
    if (!file.create(widePath, iFile::eCreateAlways)) fail("creating " + path, "the file cannot be opened");
    PStream s(&file);
    for (int i = 0; i < count && !s.hasError(); ++i) s << *makeObject(unsigned(i));
    if (s.hasError()) fail("writing objects to " + path, s.errorText());
    bytes = file.position();
    if (!file.flush()) fail("writing " + path, "the .TMP file could not be written or renamed");
  }
  std::printf("wrote %d objects, %u bytes, to %s\n", count, bytes, path.c_str());

  StreamFile file;
  if (!file.create(widePath, iFile::eOpenExisting)) fail("opening " + path, "it cannot be read back");
  PStream s(&file);
  int kinds[3] = {};
  for (int i = 0; i < count; ++i) {
    const Zr::Ptr<Streamable> read = theSOManager()->readObject(s);
    const Zr::Ptr<HostClip> expected = makeObject(unsigned(i));
    const auto* clip = dynamic_cast<const HostClip*>(read.get());
    const std::string which = "object " + std::to_string(i) + " of " + path;
    if (!read) fail("reading " + which, s.hasError() ? s.errorText() : "no object was built");
    if (!clip || read->hierarchyName(false, true) != expected->hierarchyName(false, true))
      fail("reading " + which, std::string("it came back as ") + read->hierarchyName(false, true).c_str() +
                                   ", not " + expected->hierarchyName(false, true).c_str());
    if (!clip->sameAs(*expected)) fail("checking " + which, "its fields differ from what was written");
    ++kinds[i % 3];
  }
  if (s.position() != bytes)
    fail("reading " + path,
         "the objects end at byte " + std::to_string(s.position()) + " of " + std::to_string(bytes));
  std::printf("read back %d of %d objects through StreamObjectManager::readObject: %d %s, %d %s, %d %s; "
              "every field matches\n",
              count, count, kinds[0], HostClip::layerName(), kinds[1], HostVideoClip::layerName(), kinds[2],
              HostGradedClip::layerName());
  std::printf("list them with: zrtool dump %s\n", path.c_str());
}

} // namespace zrhost
