#include <stdexcept>

#include "StreamableTestSupport.h"
#include "streaming/StreamObjectManager.h"

namespace strmtest {

// Its unpack throws, as a careless class might.
class Thrower : public Streamable
{
  ZR_STREAMABLE(Thrower, Streamable, "Th", "Thrower");

public:
  explicit Thrower(BuilderType type = eOrdinary) : Streamable(type) {}

private:
  void pack(PStream& s) const { s << 1; }
  void unpack(PStream&) { throw std::runtime_error("no"); }
};

// Holds another object, read back through the manager.
class Nest : public Streamable
{
  ZR_STREAMABLE(Nest, Streamable, "N", "Nest");

public:
  explicit Nest(BuilderType type = eOrdinary) : Streamable(type) {}
  Zr::Ptr<Streamable> child;

private:
  void pack(PStream& s) const
  {
    s << bool(child);
    if (child) s << *child;
  }
  void unpack(PStream& s)
  {
    bool has = false;
    s >> has;
    if (has) child = theSOManager()->readObject(s);
  }
};

ZR_STREAMABLE_REGISTER(Point);
ZR_STREAMABLE_REGISTER(Alpha);
ZR_STREAMABLE_REGISTER(Beta);
ZR_STREAMABLE_REGISTER(Gamma);
ZR_STREAMABLE_REGISTER(Blob);
ZR_STREAMABLE_REGISTER(Thrower);
ZR_STREAMABLE_REGISTER(Nest);

} // namespace strmtest

namespace {

using namespace strmtest;

Gamma gamma(short kind)
{
  Gamma g;
  g.id = kind * 10;
  g.name = "g";
  g.kind = kind;
  return g;
}

TEST(StreamObjectManager, LooksClassesUpByShortAndLongName)
{
  StreamObjectManager* m = theSOManager();
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(m, theSOManager());
  EXPECT_EQ(m->lookup("A.B.G"), &Gamma::STRM_L_Gamma_builder);
  EXPECT_EQ(m->lookup("Alpha.Beta.Gamma"), &Gamma::STRM_L_Gamma_builder);
  EXPECT_EQ(m->lookup("A"), &Alpha::STRM_L_Alpha_builder);
  EXPECT_EQ(m->lookup(""), nullptr);
  EXPECT_EQ(m->lookup("A.B.X"), nullptr);
  ASSERT_NE(m->find("Point"), nullptr);
  EXPECT_EQ(m->find("Point")->shortName, "P");
  m->unregisterClass("P");
  EXPECT_EQ(m->lookup("P"), &Point::STRM_L_Point_builder);
}

TEST(StreamObjectManagerDeathTest, ANameRegisteredTwiceEndsTheProgram)
{
  const char* names[][3] = {{"P", "Other", "registering P\\s"}, {"Q", "Alpha", "registering Q\\s"}};
  for (const auto& n : names) {
    // qor_splat writes its banner on standard output.
    EXPECT_DEATH(
        {
          dup2(STDERR_FILENO, STDOUT_FILENO);
          theSOManager()->registerClass(n[0], n[1], &Point::STRM_L_Point_builder);
        },
        std::string("QOR_SPLAT: Non-unique short name or full name ") + n[2]);
  }
}

TEST(StreamObjectManager, ReadsObjectsOfRegisteredClassesInTurn)
{
  Reader r(packed(gamma(1)) + packed(Point()) + packed(gamma(2)));
  Zr::Ptr<Streamable> first = theSOManager()->readObject(r.stream);
  Zr::Ptr<Streamable> second = theSOManager()->readObject(r.stream);
  Zr::Ptr<Streamable> third = theSOManager()->readObject(r.stream);
  EXPECT_FALSE(r.stream.hasError()) << r.stream.errorText();
  ASSERT_TRUE(first && second && third);
  EXPECT_EQ(first.dynamicCast<Gamma>()->kind, 1);
  EXPECT_EQ(first->STRM_ctorBuilderType(), Streamable::eBuilt);
  EXPECT_TRUE(second.dynamicCast<Point>());
  EXPECT_EQ(third.dynamicCast<Gamma>()->id, 20);
  EXPECT_TRUE(r.stream.eof());
}

TEST(StreamObjectManager, StepsOverAnObjectOfUnknownClass)
{
  Leaf<true> unknown;
  const Bytes before = packed(gamma(1));
  Reader r(before + packed(unknown) + packed(gamma(2)));
  theSOManager()->readObject(r.stream);
  Zr::Ptr<Streamable> missing;
  const std::string out = captureStdout([&] { missing = theSOManager()->readObject(r.stream); });
  EXPECT_FALSE(missing);
  EXPECT_EQ(out, "Unregistered builder for V.L.\n");
  EXPECT_EQ(r.stream.position(), before.size() + packed(unknown).size());
  Zr::Ptr<Streamable> next = theSOManager()->readObject(r.stream);
  ASSERT_TRUE(next);
  EXPECT_EQ(next.dynamicCast<Gamma>()->kind, 2);
}

TEST(StreamObjectManager, FailsWithoutReadingOnAFlaggedStreamOrAtTheEnd)
{
  Reader r(packed(Point()));
  r.stream.append("old");
  Zr::Ptr<Streamable> object;
  std::string out = captureStdout([&] { object = theSOManager()->readObject(r.stream); });
  EXPECT_FALSE(object);
  EXPECT_NE(out.find("Warning: Stream with error flagged passed to readObject!\n"), std::string::npos) << out;
  EXPECT_EQ(r.stream.position(), 0u);
  EXPECT_STREQ(r.stream.errorText(), "old");

  r.stream.clearError();
  r.stream.position(r.file.fileSize());
  out = captureStdout([&] { object = theSOManager()->readObject(r.stream); });
  EXPECT_FALSE(object);
  EXPECT_NE(out.find("StreamObjectManager::readObject(): Failed to read header!\n"), std::string::npos)
      << out;
  EXPECT_STREQ(r.stream.errorText(), "Unexpected end-of-file while unpacking , layer Streamable.");
}

TEST(StreamObjectManager, HandsObjectsOverThroughARawPointer)
{
  Reader r(packed(gamma(5)) + packed(gamma(6)));
  Streamable* raw = nullptr;
  r.stream >> raw;
  ASSERT_NE(raw, nullptr);
  EXPECT_FALSE(r.stream.hasError());
  // The caller owns it and may hold it in a handle.
  Zr::Ptr<Streamable> owned(raw);
  EXPECT_EQ(owned.refCount(), 1u);
  EXPECT_EQ(owned.dynamicCast<Gamma>()->kind, 5);

  StreamObjectManager* manager = StreamObjectManager::detach();
  raw = reinterpret_cast<Streamable*>(&r);
  r.stream >> raw;
  manager->init();
  EXPECT_EQ(raw, nullptr);
  EXPECT_STREQ(r.stream.errorText(), "No Stream Object Manager.");
  EXPECT_EQ(theSOManager(), manager);
}

TEST(StreamObjectManager, ReadsIntoACloneOfAnExample)
{
  Reader r(packed(gamma(4)));
  Zr::Ptr<Streamable> read = theSOManager()->readObjectAs(r.stream, Gamma());
  ASSERT_TRUE(read);
  EXPECT_EQ(read.dynamicCast<Gamma>()->kind, 4);
  EXPECT_FALSE(theSOManager()->readObjectAs(r.stream, Point()));
}

TEST(StreamObjectManager, ObjectInfoReadsANameAndTwoNumbers)
{
  Reader r(packed(Point()));
  const StreamObjectInfo info = theSOManager()->objectInfo(r.stream);
  EXPECT_EQ(info.name, "$");
  EXPECT_EQ(info.first, 0x00020002u);
  EXPECT_EQ(info.second, 0x000E0000u);
  GrowString text;
  info.printOn(text);
  EXPECT_STREQ(text.c_str(), "$  131074 917504");
  GrowString none;
  StreamObjectInfo().printOn(none);
  EXPECT_TRUE(none.isEmpty());
}

// Reads objects until the end of the stream, forgetting each error, as a
// tolerant loader does; every call must move on.
struct ReadAll
{
  int objects = 0;
  int calls = 0;
  std::string errors;
};

ReadAll readAll(const Bytes& bytes)
{
  Reader r(bytes);
  ReadAll result;
  while (!r.stream.eof() && result.calls < 10000) {
    const std::uint32_t before = r.stream.position();
    captureStdout([&] { result.objects += bool(theSOManager()->readObject(r.stream)); });
    ++result.calls;
    result.errors += r.stream.errorText();
    r.stream.clearError();
    EXPECT_GT(r.stream.position(), before) << "call " << result.calls;
    if (r.stream.position() <= before) break;
  }
  return result;
}

struct HostileCase
{
  const char* what;
  Bytes bytes;
  int objects;
  const char* error;
};

TEST(StreamObjectManagerHostile, EveryBadFileEndsInAnErrorAndProgress)
{
  const Bytes good = packed(gamma(1));
  Bytes cutShort = good;
  cutShort.resize(40);
  Bytes noise(4096);
  unsigned int seed = 12345;
  for (unsigned char& b : noise) b = (unsigned char)((seed = seed * 1103515245u + 12345u) >> 16);
  Bytes bigName(1 << 20, 'a');
  bigName.push_back(0);
  const std::uint32_t big = std::uint32_t(bigName.size());

  // A builder's object comes back unless its unpack failed outright: an
  // object cut short or with a stray layer is kept as far as it was read.
  const HostileCase cases[] = {
      {"sizes past the end",
       header2("$", 2, 0, 6, 0xFFFFFFF0) + text("A.B.G") + header2("A", 1, 0, 8, 0xFFFFFF00) + raw(1) +
           raw(2u) + good,
       1, "Expected short name 'B' for layer Beta, got $."},
      {"a truncated object", cutShort, 1,
       "Unexpected end-of-file while unpacking Alpha.Beta.Gamma, layer Beta."},
      {"a layer name of a megabyte", Bytes(1 << 20, 'x'), 0, "Layer name longer than 1024 bytes"},
      {"a hierarchy name of a megabyte", header2("$", 2, 0, big, big) + bigName + good, 1,
       "Hierarchy name longer than 16384 bytes."},
      {"a hierarchy smaller than its name", header2("$", 2, 0, 6, 2) + text("A.B.G") + good, 2, nullptr},
      {"a builder that throws", packed(Thrower()) + good, 1, "Builder for Th threw an exception."},
      {"noise", noise + good, -1, nullptr},
  };
  for (const HostileCase& c : cases) {
    SCOPED_TRACE(c.what);
    const ReadAll result = readAll(c.bytes);
    if (c.objects >= 0) {
      EXPECT_EQ(result.objects, c.objects);
    }
    if (c.error) {
      EXPECT_NE(result.errors.find(c.error), std::string::npos) << result.errors;
    }
  }
}

TEST(StreamObjectManagerHostile, NestingIsBounded)
{
  auto nested = [](int depth) {
    Zr::Ptr<Streamable> inner(new Point);
    for (int i = 0; i < depth; ++i) {
      auto* outer = new Nest;
      outer->child = inner;
      inner = Zr::Ptr<Streamable>(outer);
    }
    return packed(*inner);
  };
  Reader fine(nested(StreamObjectManager::kMaxNesting - 1));
  Zr::Ptr<Streamable> top = theSOManager()->readObject(fine.stream);
  EXPECT_FALSE(fine.stream.hasError()) << fine.stream.errorText();
  int depth = 0;
  for (Zr::Ptr<Streamable> at = top; at.dynamicCast<Nest>(); at = at.dynamicCast<Nest>()->child) ++depth;
  EXPECT_EQ(depth, int(StreamObjectManager::kMaxNesting) - 1);

  const Bytes deep = nested(2000);
  Reader r(deep + packed(Point()));
  Zr::Ptr<Streamable> none;
  captureStdout([&] { none = theSOManager()->readObject(r.stream); });
  EXPECT_FALSE(none);
  EXPECT_NE(std::string(r.stream.errorText()).find("Objects nested deeper than 64 levels."),
            std::string::npos);
  EXPECT_EQ(r.stream.position(), deep.size());
}

} // namespace
