#include <limits>

#include "StreamableTestSupport.h"
#include "streaming/DynamicIntegralStorage.h"

namespace {

using namespace strmtest;

constexpr std::uint32_t kNone = 0xFFFFFFFF;

// A layer whose own data a reader reads only in part, with a layer below it.
class Tail : public Partial
{
  ZR_STREAMABLE(Tail, Partial, "T", "Tail");

public:
  int z = -1;

private:
  void pack(PStream& s) const { s << z; }
  void unpack(PStream& s) { s >> z; }
};

Gamma sampleGamma()
{
  Gamma g;
  g.id = 7;
  g.flags = 9;
  g.time = 1.5;
  g.name = "clip";
  g.kind = 3;
  return g;
}

TEST(StreamableLayout, ALayerWithNoDataNestsInTheBaseLayer)
{
  const Bytes expected = {'$', 0,   2, 0, 2, 0, 0, 0, 14, 0, 0, 0, 'P',
                          0,   'P', 0, 1, 0, 0, 0, 0, 0,  0, 0, 0, 0};
  EXPECT_EQ(packed(Point()), expected);
}

TEST(StreamableLayout, ThreeLayersNestOutermostFirstWithTrueSizes)
{
  const Bytes expected = header2("$", 2, 0, 6, 65) + text("A.B.G") + header2("A", 1, 0, 8, 47) + raw(7) +
                         raw(9u) + header2("B", 1, 0, 13, 27) + raw(1.5) + text("clip") +
                         header2("G", 1, 0, 2, 2) + raw(short(3));
  EXPECT_EQ(packed(sampleGamma()), expected);

  Reader r(expected);
  Gamma back;
  EXPECT_EQ(back.STRM_hierarchyUnpack(r.stream), 3u);
  EXPECT_FALSE(r.stream.hasError()) << r.stream.errorText();
  EXPECT_EQ(back.id, 7);
  EXPECT_EQ(back.flags, 9u);
  EXPECT_EQ(back.time, 1.5);
  EXPECT_EQ(back.name, "clip");
  EXPECT_EQ(back.kind, 3);
  EXPECT_EQ(back.STRM_unpackedHierarchyName(), "A.B.G");
  EXPECT_EQ(back.STRM_major(), 2);
  EXPECT_TRUE(r.stream.eof());
}

// Names may be written in either form; one object read from both in turn
// keeps each hierarchy name it read.
TEST(StreamableLayout, LongNamesReadAsShortOnesDo)
{
  const Bytes longNamed = header2("$", 2, 0, 17, 87) + text("Alpha.Beta.Gamma") +
                          header2("Alpha", 1, 0, 8, 54) + raw(7) + raw(9u) + header2("Beta", 1, 0, 13, 31) +
                          raw(1.5) + text("clip") + header2("Gamma", 1, 0, 2, 2) + raw(short(3));
  const std::pair<Bytes, const char*> files[] = {
      {longNamed, "Alpha.Beta.Gamma"}, {packed(sampleGamma()), "A.B.G"}, {longNamed, "Alpha.Beta.Gamma"}};
  Gamma back;
  for (const auto& [bytes, hierarchy] : files) {
    Reader r(bytes);
    back.kind = 0;
    EXPECT_EQ(back.STRM_hierarchyUnpack(r.stream), 3u);
    EXPECT_FALSE(r.stream.hasError()) << r.stream.errorText();
    EXPECT_EQ(back.kind, 3);
    EXPECT_EQ(back.STRM_unpackedHierarchyName(), hierarchy);
    EXPECT_TRUE(r.stream.eof());
  }
}

TEST(StreamableNames, HierarchyNamesClassNameAndTypeComparison)
{
  const Gamma g;
  EXPECT_EQ(g.hierarchyName(false, true), "A.B.G");
  EXPECT_EQ(g.hierarchyName(false, false), "Alpha.Beta.Gamma");
  EXPECT_EQ(g.hierarchyName(true, true), "$.A.B.G");
  EXPECT_EQ(g.hierarchyName(true, false), "Streamable.Alpha.Beta.Gamma");
  EXPECT_EQ(Streamable::subHierarchyName(false, true), "");
  EXPECT_EQ(Streamable::STRM_L_Streamable_buildHierarchyName("P", true, true), "$.P");
  EXPECT_EQ(Streamable::STRM_L_Streamable_buildHierarchyName("P", false, false), "P");
  EXPECT_EQ(g.className(), "Gamma");
  EXPECT_EQ(Streamable().className(), "Streamable");

  const Beta b;
  const Gamma other;
  EXPECT_EQ(Streamable::compareTypes(&g, &g), 0);
  EXPECT_EQ(Streamable::compareTypes(&g, &other), 0);
  EXPECT_EQ(Streamable::compareTypes(&g, &b), 1);
  EXPECT_EQ(Streamable::compareTypes(&g, nullptr), 1);
  EXPECT_EQ(Streamable::compareTypes(nullptr, nullptr), 0);
}

TEST(StreamableBase, PrintsAndRefusesToAssignOrClone)
{
  Streamable base;
  GrowString text("old");
  base.asString(text);
  EXPECT_STREQ(text.c_str(), "Streamable");
  EXPECT_FALSE(base.clone(Streamable::eOrdinary));
  EXPECT_EQ(captureStdout([&] { base.assign(&base); }), "assertion failed false at misc/strmable line 124\n");
  EXPECT_EQ(base.STRM_ctorBuilderType(), Streamable::eOrdinary);
  EXPECT_EQ(base.STRM_chunkSize(), kNone);
}

struct Format1Case
{
  unsigned int major;
  unsigned int minor;
  std::uint32_t size;
  std::uint32_t headerBytes; // of the "Bl" layer
};

TEST(StreamableFormat1, DynamicWidthsAtTheirLimits)
{
  const Format1Case cases[] = {
      {254, 0, 4, 3 + 1 + 1 + 2 + 2},   {255, 254, 4, 3 + 3 + 1 + 2 + 2}, {1, 255, 65534, 3 + 1 + 3 + 2 + 2},
      {1, 0, 65535, 3 + 1 + 1 + 6 + 6}, {2, 3, 70000, 3 + 1 + 1 + 6 + 6},
  };
  for (const Format1Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.major << "." << c.minor << " size " << c.size);
    const Bytes layer = header1("Bl", c.major, c.minor, c.size, c.size);
    ASSERT_EQ(layer.size(), c.headerBytes);
    Bytes data(c.size);
    for (std::uint32_t i = 0; i < c.size; ++i) data[i] = (unsigned char)(i * 7);
    const Bytes file = header1("$", 1, 0, 3, 3 + c.headerBytes + c.size) + text("Bl") + layer + data;

    Reader r(file);
    Blob blob;
    EXPECT_EQ(blob.STRM_hierarchyUnpack(r.stream), 3u);
    EXPECT_FALSE(r.stream.hasError()) << r.stream.errorText();
    EXPECT_EQ(r.stream.format(), 1u);
    EXPECT_EQ(blob.STRM_layerMajor(), c.major);
    EXPECT_EQ(blob.STRM_layerMinor(), c.minor);
    ASSERT_TRUE(blob.data);
    EXPECT_EQ(Bytes(blob.data->getBuffer(), blob.data->getBuffer() + blob.data->getUsed()), data);
    EXPECT_TRUE(r.stream.eof());
  }
}

TEST(StreamableFormat1, OversizedVersionsAreErrors)
{
  const Bytes file = header1("$", 1, 0, 3, 3 + 13) + text("Bl") + header1("Bl", 256, 300, 0, 0);
  Reader r(file);
  Blob blob;
  EXPECT_EQ(blob.STRM_hierarchyUnpack(r.stream), 6u);
  EXPECT_STREQ(
      r.stream.errorText(),
      " Strm1.0 Object has oversized major rev (Blob).  Strm1.0 Object has oversized minor rev (Blob). ");
}

TEST(StreamableFormat, TheFirstBaseLayerSetsTheStreamFormat)
{
  Reader r(packed(Point()) + packed(Point()));
  EXPECT_EQ(r.stream.format(), 1u);
  Point p;
  r.stream >> p;
  EXPECT_EQ(r.stream.format(), 2u);
  r.stream >> p;
  EXPECT_FALSE(r.stream.hasError()) << r.stream.errorText();
  EXPECT_TRUE(r.stream.eof());

  // A base layer that announces an unknown format fails, and the format stays.
  Reader bad(header2("$", 9, 0, 2, 2) + text("P") + packed(Point()));
  EXPECT_EQ(p.STRM_hierarchyUnpack(bad.stream), 6u);
  EXPECT_STREQ(bad.stream.errorText(), "Unrecognized version for Streamable base");
  EXPECT_EQ(bad.stream.format(), 9u);
}

TEST(StreamableResults, EachResultAndItsText)
{
  Point p;
  {
    const std::string path = zrtest::makeTempDir("strmres") + "out.bin";
    StreamFile file;
    ASSERT_TRUE(file.create(wide(path), iFile::eCreateAlways));
    PStream s(&file);
    EXPECT_EQ(p.STRM_hierarchyPack(s), 2u);
    PStream dead(nullptr);
    EXPECT_EQ(p.STRM_hierarchyPack(dead), 6u);
  }
  {
    Reader r(packed(p));
    EXPECT_EQ(p.STRM_hierarchyUnpack(r.stream), 3u);
  }
  {
    Reader r(header2("$", 2, 1, 2, 14) + text("P") + header2("P", 1, 0, 0, 0));
    EXPECT_EQ(p.STRM_hierarchyUnpack(r.stream), 6u);
    EXPECT_STREQ(r.stream.errorText(), " Unknown object version! ");
    EXPECT_TRUE(r.stream.eof()); // at the end of the hierarchy
  }
  {
    // The hierarchy name is checked against the class.
    Reader r(packed(Point()));
    Alpha a;
    EXPECT_EQ(a.STRM_hierarchyUnpack(r.stream), 6u);
    EXPECT_STREQ(r.stream.errorText(), "Expected hierarchy Streamable.A, got Streamable.P");
  }
  {
    const Bytes trailer = {0xAB, 0xCD};
    Reader r(header2("$", 2, 0, 2, 2 + 20) + text("A") + header2("X", 1, 0, 8, 8) + raw(1) + raw(2) +
             trailer);
    Alpha a;
    EXPECT_EQ(a.STRM_hierarchyUnpack(r.stream), 7u);
    EXPECT_STREQ(r.stream.errorText(), "Expected short name 'A' for layer Alpha, got X.");
    EXPECT_EQ(r.stream.position(), r.file.fileSize() - 2);
    EXPECT_EQ(a.id, -1);
  }
  {
    Bytes cut = packed(sampleGamma());
    cut.resize(cut.size() - 13); // inside the last layer's header
    Reader r(cut);
    Gamma g;
    EXPECT_EQ(g.STRM_hierarchyUnpack(r.stream), 8u);
    EXPECT_STREQ(r.stream.errorText(),
                 "Unexpected end-of-file while unpacking Alpha.Beta.Gamma, layer Gamma.");
    EXPECT_EQ(g.name, "clip"); // what was read stays
  }
}

TEST(StreamableResults, AnUnpackErrorStepsToTheHierarchyEnd)
{
  // The Alpha layer claims 8 bytes but holds 4 before the end.
  Reader r(header2("$", 2, 0, 2, 2 + 12 + 8) + text("A") + header2("A", 1, 0, 8, 8) + raw(5));
  Alpha a;
  EXPECT_EQ(a.STRM_hierarchyUnpack(r.stream), 6u);
  EXPECT_STREQ(r.stream.errorText(), "Unexpected EOF.");
  EXPECT_EQ(a.id, 5);
  EXPECT_TRUE(r.stream.eof());
}

struct CutCase
{
  size_t keep;
  unsigned int major;
  std::uint32_t layer;
  std::uint32_t hierarchy;
};

TEST(StreamableHeader, AStreamEndingInsideAHeaderKeepsTheDefaults)
{
  const Bytes whole = packed(Point());
  const CutCase cases[] = {{0, 0, kNone, kNone}, {1, 0, kNone, kNone}, {2, 0, kNone, kNone},
                           {3, 2, kNone, kNone}, {6, 2, kNone, kNone}, {8, 2, 2, kNone},
                           {10, 2, 2, kNone},    {12, 2, 2, 14}};
  for (const CutCase& c : cases) {
    SCOPED_TRACE(testing::Message() << "keep " << c.keep);
    Reader r(Bytes(whole.begin(), whole.begin() + c.keep));
    StreamLayerHeader h;
    EXPECT_EQ(readStreamLayerHeader(r.stream, h), 8u);
    EXPECT_EQ(h.major, c.major);
    EXPECT_EQ(h.minor, 0u);
    EXPECT_EQ(h.layerChunkSize, c.layer);
    EXPECT_EQ(h.hierarchyChunkSize, c.hierarchy);
    EXPECT_TRUE(r.stream.eof());
    EXPECT_EQ(r.stream.position(), c.keep);
  }
  Reader r(Bytes(whole.begin(), whole.begin() + 8));
  Point p;
  EXPECT_EQ(p.STRM_hierarchyUnpack(r.stream), 8u);
  EXPECT_STREQ(r.stream.errorText(), "Unexpected end-of-file while unpacking Point, layer Streamable.");
}

TEST(StreamableHeader, ReadsEveryLayerOfAnObjectWithoutItsClass)
{
  Reader r(packed(sampleGamma()));
  const char* names[] = {"$", "A", "B", "G"};
  const std::uint32_t sizes[][2] = {{6, 65}, {8, 47}, {13, 27}, {2, 2}};
  for (int i = 0; i < 4; ++i) {
    StreamLayerHeader h;
    ASSERT_EQ(readStreamLayerHeader(r.stream, h), 0u);
    EXPECT_EQ(h.name, names[i]);
    EXPECT_EQ(h.layerChunkSize, sizes[i][0]);
    EXPECT_EQ(h.hierarchyChunkSize, sizes[i][1]);
    EXPECT_EQ(h.dataStart, r.stream.position());
    r.stream.position(h.dataStart + h.layerChunkSize);
  }
  EXPECT_TRUE(r.stream.eof());
  EXPECT_EQ(r.stream.format(), 2u);
}

TEST(StreamableLayers, AReaderThatStopsShortIsWarnedAndGoesOn)
{
  const Bytes file = header2("$", 2, 0, 5, 5 + 12 + 10 + 12 + 4) + text("Pa.T") +
                     header2("Pa", 1, 0, 10, 26) + Bytes{'0', '1', '2', '3', '4', '5', '6', '7', '8', '9'} +
                     header2("T", 1, 0, 4, 4) + raw(42);
  Reader r(file);
  Tail t;
  t.take = 3;
  unsigned int result = 0;
  const std::string out = captureStdout([&] { result = t.STRM_hierarchyUnpack(r.stream); });
  EXPECT_EQ(result, 3u);
  EXPECT_NE(
      out.find(": Warning: Not all object data was read while unpacking object Partial.Tail, layer Partial "
               "v1.0, 7/10 bytes unread.\n"),
      std::string::npos)
      << out;
  EXPECT_EQ(t.got, "012");
  EXPECT_EQ(t.z, 42);
  EXPECT_FALSE(r.stream.hasError()) << r.stream.errorText();

  // One that reads past its layer is an error.
  Reader over(file);
  Tail greedy;
  greedy.take = 12;
  EXPECT_EQ(greedy.STRM_hierarchyUnpack(over.stream), 6u);
  EXPECT_STREQ(over.stream.errorText(), "Error: Unpacker read beyond end of chunk while unpacking object "
                                        "Partial.Tail, layer Partial v1.0, 2 bytes overread.\n");
  EXPECT_EQ(greedy.z, -1);
}

TEST(StreamableLayers, EmptySizesSkipTheUnpackAndKeepDefaults)
{
  Reader r(header2("$", 2, 0, 4, 4 + 12 + 12 + 13) + text("A.B") + header2("A", 1, 0, 0, 12 + 13) +
           header2("B", 1, 0, 13, 13) + raw(2.5) + text("clip"));
  Beta b;
  b.id = 11;
  EXPECT_EQ(b.STRM_hierarchyUnpack(r.stream), 3u);
  EXPECT_FALSE(r.stream.hasError()) << r.stream.errorText();
  EXPECT_EQ(b.id, 11);
  EXPECT_EQ(b.flags, 0u);
  EXPECT_EQ(b.time, 2.5);

  Reader empty(header2("$", 2, 0, 3, 3 + 12) + text("Bl") + header2("Bl", 1, 0, 0, 0));
  Blob blob;
  EXPECT_EQ(blob.STRM_hierarchyUnpack(empty.stream), 3u);
  EXPECT_FALSE(blob.data);
}

TEST(StreamableLayers, ReadChunkAsBinaryWantsEqualSizes)
{
  Reader r(header2("$", 2, 0, 3, 3 + 12 + 6) + text("Bl") + header2("Bl", 1, 0, 4, 6) +
           Bytes{9, 8, 7, 6, 5, 4});
  Blob blob;
  unsigned int result = 0;
  EXPECT_EQ(captureStdout([&] { result = blob.STRM_hierarchyUnpack(r.stream); }),
            "assertion failed layerChunkSize == hierarchyChunkSize at misc/strmable line 264\n");
  EXPECT_EQ(result, 3u);
  ASSERT_TRUE(blob.data);
  EXPECT_EQ(Bytes(blob.data->getBuffer(), blob.data->getBuffer() + blob.data->getUsed()),
            (Bytes{9, 8, 7, 6}));

  // A size beyond the file allocates nothing.
  Reader lying(header2("$", 2, 0, 3, 3u + 12 + 0x7FFFFFFF) + text("Bl") +
               header2("Bl", 1, 0, 0x7FFFFFFF, 0x7FFFFFFF) + Bytes{1, 2, 3});
  Blob none;
  EXPECT_EQ(none.STRM_hierarchyUnpack(lying.stream), 6u);
  EXPECT_STREQ(lying.stream.errorText(), "Unexpected EOF.");
  EXPECT_FALSE(none.data);
  EXPECT_TRUE(lying.stream.eof());
}

TEST(StreamableOperators, UnpackingAFlaggedStreamClearsTheErrorAndTries)
{
  Reader r(packed(sampleGamma()));
  r.stream.append("earlier failure");
  Gamma g;
  const std::string out = captureStdout([&] { r.stream >> g; });
  EXPECT_NE(out.find("Warning: Attempted to unpack from a stream with error flagged!\n"), std::string::npos)
      << out;
  EXPECT_FALSE(r.stream.hasError()) << r.stream.errorText();
  EXPECT_EQ(g.kind, 3);
}

TEST(StreamableVersions, AnOldReaderSkipsTheNewFieldsOfANewWriter)
{
  Leaf<true> newer;
  newer.x = 1;
  newer.y = 2;
  newer.z = 3;
  Reader r(packed(newer) + packed(Point()));
  Leaf<false> older;
  const std::string out = captureStdout([&] { EXPECT_EQ(older.STRM_hierarchyUnpack(r.stream), 3u); });
  EXPECT_NE(out.find("layer Versioned v1.1, 4/8 bytes unread."), std::string::npos) << out;
  EXPECT_EQ(older.x, 1);
  EXPECT_EQ(older.y, 77);
  EXPECT_EQ(older.z, 3);
  Point next;
  EXPECT_EQ(next.STRM_hierarchyUnpack(r.stream), 3u);
  EXPECT_FALSE(r.stream.hasError()) << r.stream.errorText();
}

TEST(StreamableVersions, ANewReaderKeepsDefaultsForOldData)
{
  Leaf<false> old;
  old.x = 4;
  old.z = 6;
  Reader r(packed(old));
  Leaf<true> newer;
  const std::string out = captureStdout([&] { EXPECT_EQ(newer.STRM_hierarchyUnpack(r.stream), 3u); });
  EXPECT_EQ(out, "");
  EXPECT_EQ(newer.x, 4);
  EXPECT_EQ(newer.y, 77);
  EXPECT_EQ(newer.z, 6);
  EXPECT_EQ(newer.Versioned<true>::STRM_layerMinor(), 0);
}

TEST(DynamicIntegralStorageTest, WritesTheShortFormBelowTheEscape)
{
  const Bytes bytes = written([](PStream& s) {
    DynamicIntegralStorage<unsigned char, unsigned short>(254).pack(s);
    DynamicIntegralStorage<unsigned char, unsigned short>(255).pack(s);
    DynamicIntegralStorage<unsigned short, unsigned int>(65534).pack(s);
    DynamicIntegralStorage<unsigned short, unsigned int>(65535).pack(s);
  });
  const Bytes expected = {254, 255, 255, 0, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0};
  EXPECT_EQ(bytes, expected);
  Reader r(bytes);
  DynamicIntegralStorage<unsigned char, unsigned short> a, b;
  DynamicIntegralStorage<unsigned short, unsigned int> c, d;
  a.unpack(r.stream);
  b.unpack(r.stream);
  c.unpack(r.stream);
  d.unpack(r.stream);
  EXPECT_EQ(a.value(), 254);
  EXPECT_EQ(b.value(), 255);
  EXPECT_EQ(c.value(), 65534u);
  EXPECT_EQ(d.value(), 65535u);
  EXPECT_FALSE(r.stream.hasError());
}

} // namespace
