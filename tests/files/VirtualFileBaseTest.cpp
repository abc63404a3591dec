#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <vector>

#include "FilesTestSupport.h"
#include "files/VirtualFileBase.h"

namespace {

using namespace filetest;

constexpr unsigned int kBlock = VirtualFileBase::kBlockSize;
constexpr unsigned int kRecord = VirtualFileBase::kRecordSize;

Zr::Ptr<ByteBufferImpl> blockOf(const std::string& data)
{
  Zr::Ptr<ByteBufferImpl> block(new ByteBufferImpl(kBlock));
  block->append(bytes(data), unsigned(data.size()));
  return block;
}

// A file whose blocks the test hands in; a wait either brings a block held
// back for it or gives none, and every wait is recorded.
class BlockFile : public VirtualFileBase
{
public:
  using VirtualFileBase::blocks_;
  using VirtualFileBase::insertBlock;

  void holdBack(unsigned long offset, const std::string& data) { arriving_[offset] = blockOf(data); }

  BlockMap::iterator waitForData(std::pair<unsigned long, unsigned long> range) override
  {
    waits.push_back(range);
    auto it = arriving_.find(range.first);
    if (it == arriving_.end()) return VirtualFileBase::waitForData(range);
    insertBlock(it->first, it->second);
    return blocks_.find(range.first);
  }

  LightweightString<wchar_t> getName() const override { return L"blocks"; }
  bool isComplete() const override { return false; }
  unsigned long getBytesArrived() const override { return 0; }
  void cancelWaits() override {}
  LightweightString<wchar_t> getSourceName() const override { return {}; }
  bool setSourceName(const LightweightString<wchar_t>&) override { return false; }

  std::vector<std::pair<unsigned long, unsigned long>> waits;

private:
  std::map<unsigned long, Zr::Ptr<ByteBufferImpl>> arriving_;
};

std::string readAt(VirtualFileBase& file, unsigned long offset, unsigned int count,
                   unsigned int* got = nullptr)
{
  std::string out(count, '\0');
  const unsigned int n = file.readAt(offset, out.data(), count);
  if (got) *got = n;
  out.resize(n);
  return out;
}

class VirtualFileTest : public testing::Test
{
protected:
  std::string first = pattern(kBlock, 1);
  std::string second = pattern(kBlock, 2);
  std::string dir = zrtest::makeTempDir("partial");
};

TEST_F(VirtualFileTest, ReadsWithinAndAcrossBlocks)
{
  BlockFile file;
  file.insertBlock(0, blockOf(first));
  file.insertBlock(kBlock, blockOf(second));
  EXPECT_EQ(readAt(file, 100, 50), first.substr(100, 50));
  EXPECT_EQ(readAt(file, kBlock - 10, 30), first.substr(kBlock - 10) + second.substr(0, 20));
  EXPECT_EQ(readAt(file, 0, 2 * kBlock), first + second);
  EXPECT_TRUE(file.waits.empty());
}

TEST_F(VirtualFileTest, MissingSecondBlockGivesNothingAtAll)
{
  BlockFile file;
  file.insertBlock(0, blockOf(first));
  unsigned int got = 99;
  readAt(file, kBlock - 10, 30, &got);
  EXPECT_EQ(got, 0u);
  ASSERT_EQ(file.waits.size(), 1u);
  EXPECT_EQ(file.waits[0], std::make_pair(static_cast<unsigned long>(kBlock), 2ul * kBlock - 1));
}

TEST_F(VirtualFileTest, ReadOfNothingDoesNotWait)
{
  BlockFile file;
  char byte = 0;
  EXPECT_EQ(file.readAt(5 * kBlock, &byte, 0), 0u);
  EXPECT_TRUE(file.waits.empty());
}

TEST_F(VirtualFileTest, BlockThatArrivesDuringTheWaitIsRead)
{
  BlockFile file;
  file.insertBlock(0, blockOf(first));
  file.holdBack(kBlock, second);
  EXPECT_EQ(readAt(file, kBlock - 4, 8), first.substr(kBlock - 4) + second.substr(0, 4));
  EXPECT_EQ(file.waits.size(), 1u);
}

TEST_F(VirtualFileTest, BlockShorterThanTheReadStopsItWithAnAssertion)
{
  BlockFile file;
  file.insertBlock(0, blockOf(first.substr(0, 100)));
  unsigned int got = 0;
  EXPECT_EQ(captureStdout([&] { EXPECT_EQ(readAt(file, 50, 100, &got), first.substr(50, 50)); }),
            "assertion failed false at misc/VirtualFileBase line 55\n");
  EXPECT_EQ(got, 50u);
}

TEST_F(VirtualFileTest, PartialFileRoundTripKeepsEveryBlock)
{
  const std::string path = dir + "clip.partial";
  {
    BlockFile file;
    // Out of order, with a gap, and one block holding less than its size.
    file.insertBlock(3 * kBlock, blockOf(second.substr(0, 1000)));
    file.insertBlock(0, blockOf(first));
    EXPECT_FALSE(file.saveToPartialFile()); // no partial file named yet
    EXPECT_FALSE(file.loadFromPartialFile(wide(path)));
    EXPECT_EQ(file.getPartialFileName(), wide(path));
    ASSERT_TRUE(file.saveToPartialFile());
  }
  BlockFile loaded;
  ASSERT_TRUE(loaded.loadFromPartialFile(wide(path)));
  ASSERT_EQ(loaded.blocks_.size(), 2u);
  EXPECT_EQ(readAt(loaded, 0, kBlock), first);
  // A block is kept whole, so the short one comes back at full size.
  EXPECT_EQ(readAt(loaded, 3 * kBlock, 1000), second.substr(0, 1000));
  EXPECT_EQ(loaded.blocks_[3 * kBlock]->getUsed(), kBlock);
  EXPECT_EQ(readAt(loaded, kBlock, 10), "");
}

std::string le(uint64_t value, unsigned int bytes)
{
  std::string out;
  for (unsigned int i = 0; i < bytes; ++i) out.push_back(char(value >> (8 * i)));
  return out;
}

TEST_F(VirtualFileTest, RecordIsTheBlockThenALittleEndianTrailer)
{
  const std::string path = dir + "layout.partial";
  BlockFile file;
  const unsigned long far = 0x123456789ul * kBlock;
  file.insertBlock(far, blockOf(second));
  file.insertBlock(kBlock, blockOf(first));
  file.loadFromPartialFile(wide(path));
  ASSERT_TRUE(file.saveToPartialFile());
  const std::string saved = zrtest::readFile(path);
  ASSERT_EQ(saved.size(), 2u * kRecord);
  const std::string zero4(4, '\0'), zero8(8, '\0');
  const std::string expectFirst = first + le(1, 4) + zero4 + le(kBlock, 8) + zero4 + zero4 + zero8;
  const std::string expectSecond = second + le(1, 4) + zero4 + le(far, 8) + zero4 + zero4 + zero8;
  EXPECT_TRUE(saved.substr(0, kRecord) == expectFirst);
  EXPECT_TRUE(saved.substr(kRecord) == expectSecond);
}

// A record as another writer might make it: any version, junk in the
// reserved words.
std::string record(const std::string& data, uint64_t offset, uint32_t version = 1)
{
  return data + le(version, 4) + "junk" + le(offset, 8) + le(0, 4) + "junk" + le(0, 8);
}

TEST_F(VirtualFileTest, LoadingDropsAShortLastRecordAndIgnoresTheVersion)
{
  const std::string path = dir + "short.partial";
  zrtest::writeFile(path,
                    record(first, 0, 7) + record(second, kBlock) + record(first, 2 * kBlock).substr(0, 100));
  BlockFile file;
  ASSERT_TRUE(file.loadFromPartialFile(wide(path)));
  EXPECT_EQ(file.blocks_.size(), 2u);
  EXPECT_EQ(readAt(file, 0, 2 * kBlock), first + second);
}

TEST_F(VirtualFileTest, FirstBlockAtAnOffsetWins)
{
  const std::string path = dir + "dup.partial";
  const std::string third = pattern(kBlock, 3);
  zrtest::writeFile(path, record(first, 0) + record(second, 0) + record(second, kBlock));
  BlockFile file;
  file.insertBlock(kBlock, blockOf(third));
  ASSERT_TRUE(file.loadFromPartialFile(wide(path)));
  EXPECT_EQ(file.blocks_.size(), 2u);
  EXPECT_EQ(readAt(file, 0, kBlock), first);
  EXPECT_EQ(readAt(file, kBlock, kBlock), third);
}

} // namespace
