#include <gtest/gtest.h>

#include "libzr/AttribValuePair.h"

namespace {

using NString = LightweightString<char>;
using WString = LightweightString<wchar_t>;

TEST(AttribValuePair, SplitsAtTheFirstOfAnySeparatorAndTrimsBothParts)
{
  const Zr::AttribValuePair pair(NString(" \tname = some value \r"));
  EXPECT_TRUE(pair.valid());
  EXPECT_EQ(pair.attrib(), "name");
  EXPECT_EQ(pair.value(), "some value");

  const Zr::AttribValuePair nested("a=b=c");
  EXPECT_EQ(nested.attrib(), "a");
  EXPECT_EQ(nested.value(), "b=c");

  // Other separators, of any length.
  const Zr::AttribValuePair colon("Commands: Play(3),Stop", ":");
  EXPECT_EQ(colon.attrib(), "Commands");
  EXPECT_EQ(colon.value(), "Play(3),Stop");
  const Zr::AttribValuePair doubleColon("a:b::c::d", "::");
  EXPECT_EQ(doubleColon.attrib(), "a:b");
  EXPECT_EQ(doubleColon.value(), "c::d");
  EXPECT_FALSE(Zr::AttribValuePair("a=b", "").valid()); // an empty separator is never found
}

TEST(AttribValuePair, NeedsTheSeparatorAndAnAttribute)
{
  EXPECT_FALSE(Zr::AttribValuePair("no separator here").valid());
  EXPECT_FALSE(Zr::AttribValuePair("=value only").valid());
  EXPECT_FALSE(Zr::AttribValuePair("   = value").valid());
  EXPECT_FALSE(Zr::AttribValuePair("").valid());
  EXPECT_FALSE(Zr::AttribValuePair<char>().valid());

  const Zr::AttribValuePair emptyValue("key =  ");
  EXPECT_TRUE(emptyValue.valid());
  EXPECT_EQ(emptyValue.attrib(), "key");
  EXPECT_TRUE(emptyValue.value().empty());
}

TEST(AttribValuePair, WhatTheWriterJoinsTheReaderSplitsBack)
{
  const Zr::AttribValuePair written(NString("Description"), NString("x = y, and = more"));
  EXPECT_TRUE(written.valid());
  const NString line = written.asString();
  EXPECT_EQ(line, "Description=x = y, and = more");
  const Zr::AttribValuePair read(line);
  EXPECT_EQ(read.attrib(), written.attrib());
  EXPECT_EQ(read.value(), written.value());

  const Zr::AttribValuePair colonWritten(NString("k"), NString("v:w"), ":");
  EXPECT_EQ(Zr::AttribValuePair(colonWritten.asString(), ":").value(), "v:w");

  EXPECT_FALSE(Zr::AttribValuePair(NString(), NString("v")).valid());
}

TEST(AttribValuePair, WideLinesWorkAlike)
{
  const Zr::AttribValuePair pair(WString(L"IDS_GREETING = Gr\u00FC\u00DF Gott = hello"));
  EXPECT_TRUE(pair.valid());
  EXPECT_EQ(pair.attrib(), L"IDS_GREETING");
  EXPECT_EQ(pair.value(), L"Gr\u00FC\u00DF Gott = hello");
  EXPECT_EQ(Zr::AttribValuePair(pair.attrib(), pair.value()).asString(),
            L"IDS_GREETING=Gr\u00FC\u00DF Gott = hello");
  // Unicode white space is trimmed too.
  EXPECT_EQ(Zr::AttribValuePair(L"\u3000k\u3000=\u3000v\u3000").value(), L"v");
}

} // namespace
