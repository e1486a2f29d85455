// Tagging quirks, cursor, value accessors, escaping and written layout of ZrBarnXml.
#include "formats/ZrBarnXml.h"

#include <gtest/gtest.h>

#include <chrono>
#include <limits>

#include "formats/ZrADateTime.h"
#include "tests/common/ZrTestUtil.h"

namespace {

// A read-mode tree over `text`.
std::unique_ptr<ZrBarnXml> Read(const std::string& text) {
  auto xml = std::make_unique<ZrBarnXml>("r");
  xml->SetText(text);
  return xml;
}

std::string Written(ZrBarnXml& xml) {
  std::string text = "stale";
  xml.GetText(text);
  return text;
}

}  // namespace

TEST(ZrBarnXml, RepeatedElementsAreConsumedInOrder) {
  auto xml = Read("<a><b>1</b><c>x</c><b>2</b></a>");
  ASSERT_TRUE(xml->OpenRack("a"));
  int32_t v = 0;
  EXPECT_TRUE(xml->Value("b", v, -1));
  EXPECT_EQ(v, 1);
  EXPECT_TRUE(xml->Value("b", v, -1));
  EXPECT_EQ(v, 2);
  EXPECT_FALSE(xml->Value("b", v, -1));
  EXPECT_EQ(v, -1);
  std::string c;
  EXPECT_TRUE(xml->Value("c", c, ""));
  EXPECT_EQ(c, "x");
  xml->CloseRack("a");
  EXPECT_FALSE(xml->OpenRack("a"));  // consumed
}

TEST(ZrBarnXml, OpenRackMissesLeaveTheCursor) {
  auto xml = Read("<a><b><c>1</c></b></a>");
  ASSERT_TRUE(xml->OpenRack("a"));
  EXPECT_FALSE(xml->OpenRack("c"));  // only children are searched
  EXPECT_FALSE(xml->OpenRack("B"));  // case-sensitive
  ASSERT_TRUE(xml->OpenRack("b"));
  int32_t v = 0;
  EXPECT_TRUE(xml->Value("c", v, 0));
  EXPECT_EQ(v, 1);
}

TEST(ZrBarnXml, AttributesQuotedAndUnquoted) {
  const std::string text = "<a x=\"1\" y=2>v</a>";
  auto xml = Read(text);
  std::vector<std::pair<std::string, std::string>> attributes;
  ASSERT_TRUE(xml->Attributes("a", attributes));
  const std::vector<std::pair<std::string, std::string>> expected = {{"x", "1"}, {"y", "2"}};
  EXPECT_EQ(attributes, expected);
  xml->CloseRack("a");  // the name excludes the attributes

  std::string v;
  EXPECT_TRUE(Read(text)->Value("a", v, ""));
  EXPECT_EQ(v, "v");
  EXPECT_FALSE(Read(text)->Attributes("b", attributes));
}

TEST(ZrBarnXml, AttributesAreWrittenIntoTheStartTag) {
  ZrBarnXml xml("w");
  std::vector<std::pair<std::string, std::string>> attributes = {{"k", "v"}, {"n", "2"}};
  ASSERT_TRUE(xml.Attributes("a", attributes));
  int32_t one = 1;
  xml.Value("b", one, 0);
  xml.CloseRack("a");
  EXPECT_EQ(Written(xml), "<a k=\"v\" n=\"2\"><b>1</b>\n</a>\n");
}

TEST(ZrBarnXml, DeclarationIsSkipped) {
  auto xml = Read("<?xml version=\"1.0\"?>\n<a>7</a>");
  int32_t v = 0;
  EXPECT_TRUE(xml->Value("a", v, 0));
  EXPECT_EQ(v, 7);
}

TEST(ZrBarnXml, EmptyElementTagKeepsItsSlashInTheName) {
  auto xml = Read("<r><a/><b/></r>");
  ASSERT_TRUE(xml->OpenRack("r"));
  std::string v = "x";
  EXPECT_FALSE(xml->Value("a", v, "default"));
  EXPECT_EQ(v, "default");
  EXPECT_TRUE(xml->Value("a/", v, "default"));
  EXPECT_EQ(v, "");
  // It opened no element: b/ is a sibling, not a child of a/.
  EXPECT_TRUE(xml->OpenRack("b/"));
}

TEST(ZrBarnXml, EndTagNameIsNotCompared) {
  auto xml = Read("<r><a>1</z><b>2</b></r>");
  ASSERT_TRUE(xml->OpenRack("r"));
  int32_t a = 0;
  int32_t b = 0;
  EXPECT_TRUE(xml->Value("a", a, 0));
  EXPECT_TRUE(xml->Value("b", b, 0));
  EXPECT_EQ(a * 10 + b, 12);
}

TEST(ZrBarnXml, StartTagWithoutEndTagIsTaggedWithEmptyValue) {
  auto xml = Read("<r><a>text");
  ASSERT_TRUE(xml->OpenRack("r"));
  std::string v = "x";
  EXPECT_TRUE(xml->Value("a", v, "d"));
  EXPECT_EQ(v, "");
}

TEST(ZrBarnXml, UnescapedLessThanInAValueOpensASpuriousElement) {
  auto xml = Read("<r><a>1 < 2 > 0</a></r>");
  ASSERT_TRUE(xml->OpenRack("r"));
  ASSERT_TRUE(xml->OpenRack("a"));
  EXPECT_TRUE(xml->OpenRack(""));  // the tag text " 2 " has an empty name
}

struct TagCase {
  const char* text;
  const char* message;
};

class ZrBarnXmlTagging : public ::testing::TestWithParam<TagCase> {};

TEST_P(ZrBarnXmlTagging, Messages) {
  ZrBarnXml xml("r");
  EXPECT_ZR_ERROR(xml.SetText(GetParam().text), GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ZrBarnXmlTagging,
    ::testing::Values(TagCase{"<a>1 < 2</a", "Illigal Tag Structure"},
                      TagCase{"<a>", "<no ZrError>"}, TagCase{"<", "Illigal Tag Structure"},
                      TagCase{"<a>x<", "Illigal Tag Structure"},
                      TagCase{"<a", "Illigal Tag Structure"}, TagCase{"<>", "<no ZrError>"},
                      TagCase{"</a></b>", "<no ZrError>"}, TagCase{"<?", "Illigal Tag Structure"},
                      TagCase{"plain text", "<no ZrError>"}, TagCase{"", "<no ZrError>"}));

TEST(ZrBarnXml, ModeAndCloseErrors) {
  ZrBarnXml w("w");
  EXPECT_TRUE(w.IsWriteMode());
  EXPECT_ZR_ERROR(w.SetText("<a/>"), "mode is illigal");
  EXPECT_ZR_ERROR(w.CloseRack(), "Over CloseRack");
  w.OpenRack("a");
  EXPECT_ZR_ERROR(w.CloseRack("b"), "Invalid Tag Name:a <> b");
  EXPECT_NO_THROW(w.CloseRack("a"));

  auto r = Read("<a><b/></a>");
  EXPECT_EQ(r->GetMode(), "r");
  EXPECT_ZR_ERROR(r->CloseRack(), "Over CloseRack");
  ASSERT_TRUE(r->OpenRack("a"));
  EXPECT_ZR_ERROR(r->CloseRack("x"), "Invalid Tag Name:a <> x");
}

struct EscapeCase {
  const char* raw;
  const char* escaped;
};

class ZrBarnXmlEscape : public ::testing::TestWithParam<EscapeCase> {};

TEST_P(ZrBarnXmlEscape, EscapeAndUnescape) {
  EXPECT_EQ(ZrBarnXml::Escape(GetParam().raw), GetParam().escaped);
  EXPECT_EQ(ZrBarnXml::Unescape(GetParam().escaped), GetParam().raw);
}

INSTANTIATE_TEST_SUITE_P(Cases, ZrBarnXmlEscape,
                         ::testing::Values(EscapeCase{"a<b&c", "a&lt;b&amp;c"},
                                           EscapeCase{"\"q\" > 'p'", "&quot;q&quot; &gt; 'p'"},
                                           EscapeCase{"&&", "&amp;&amp;"},
                                           EscapeCase{"plain", "plain"}, EscapeCase{"", ""}));

struct UnescapeCase {
  const char* text;
  const char* expected;
};

class ZrBarnXmlOverUnescape : public ::testing::TestWithParam<UnescapeCase> {};

TEST_P(ZrBarnXmlOverUnescape, RepeatsEachStepUntilNothingIsLeft) {
  EXPECT_EQ(ZrBarnXml::Unescape(GetParam().text), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Cases, ZrBarnXmlOverUnescape,
                         ::testing::Values(UnescapeCase{"&amp;amp;", "&"},
                                           UnescapeCase{"&amp;amp;amp;amp;x", "&x"},
                                           UnescapeCase{"&amp;lt;", "&lt;"},
                                           UnescapeCase{"&lt;&gt;&quot;", "<>\""},
                                           UnescapeCase{"&amp&amp;;", "&amp&;"},
                                           UnescapeCase{"&apos;&#60;", "&apos;&#60;"},
                                           UnescapeCase{"&&amp;amp;amp;", "&&"}));

TEST(ZrBarnXml, WrittenLayout) {
  ZrBarnXml xml("w");
  xml.OpenRack("top");
  std::string s = "1<2&3";
  xml.Value("s", s, "");
  xml.OpenRack("empty");
  xml.CloseRack();
  xml.OpenRack("nest");
  int32_t n = 5;
  xml.Value("n", n, 0);
  xml.CloseRack();
  xml.CloseRack();
  xml.OpenRack("second");  // only the first top element is written
  xml.CloseRack();
  EXPECT_EQ(Written(xml),
            "<top><s>1&lt;2&amp;3</s>\n<empty></empty>\n<nest><n>5</n>\n</nest>\n</top>\n");
  ZrBarnXml nothing("w");
  EXPECT_EQ(Written(nothing), "");
}

TEST(ZrBarnXml, StringRoundTripThroughText) {
  ZrBarnXml w("w");
  w.OpenRack("t");
  std::string s = "a&amp;b <c> \"d\" 'e'\nline";
  w.Value("s", s, "");
  w.CloseRack();
  auto r = Read(Written(w));
  ASSERT_TRUE(r->OpenRack("t"));
  std::string back;
  EXPECT_TRUE(r->Value("s", back, ""));
  // The stored "&amp;amp;" is over-unescaped back to a single "&".
  EXPECT_EQ(back, "a&b <c> \"d\" 'e'\nline");
}

struct NumberCase {
  long double value;
  const char* text;
};

class ZrBarnXmlNumbers : public ::testing::TestWithParam<NumberCase> {};

TEST_P(ZrBarnXmlNumbers, FloatingTextLikeADefaultStream) {
  ZrBarnXml wd("w");
  double d = static_cast<double>(GetParam().value);
  wd.Value("v", d, 0);
  EXPECT_EQ(Written(wd), std::string("<v>") + GetParam().text + "</v>\n");
  ZrBarnXml wl("w");
  long double l = GetParam().value;
  wl.Value("v", l, 0);
  EXPECT_EQ(Written(wl), std::string("<v>") + GetParam().text + "</v>\n");
}

INSTANTIATE_TEST_SUITE_P(Cases, ZrBarnXmlNumbers,
                         ::testing::Values(NumberCase{100, "100"}, NumberCase{0.1L, "0.1"},
                                           NumberCase{1234567, "1.23457e+06"},
                                           NumberCase{-2.5e-7L, "-2.5e-07"}));

TEST(ZrBarnXml, NumberValuesRoundTrip) {
  ZrBarnXml w("w");
  w.OpenRack("n");
  int32_t i32 = -2147483647 - 1;
  int64_t i64 = 9007199254740993LL;
  uint32_t u32 = 4294967295U;
  float f = 0.25F;
  w.Value("i32", i32, 0);
  w.Value("i64", i64, 0);
  w.Value("u32", u32, 0);
  w.Value("f", f, 0);
  w.CloseRack();
  auto r = Read(Written(w));
  ASSERT_TRUE(r->OpenRack("n"));
  int32_t ri32 = 0;
  int64_t ri64 = 0;
  uint32_t ru32 = 0;
  float rf = 0;
  EXPECT_TRUE(r->Value("i32", ri32, 1));
  EXPECT_TRUE(r->Value("i64", ri64, 1));
  EXPECT_TRUE(r->Value("u32", ru32, 1));
  EXPECT_TRUE(r->Value("f", rf, 1));
  EXPECT_EQ(ri32, i32);
  EXPECT_EQ(ri64, i64);
  EXPECT_EQ(ru32, u32);
  EXPECT_EQ(rf, f);
}

TEST(ZrBarnXml, UnparsableNumbersReadAsZeroMissingAsDefault) {
  auto r = Read("<n><i>abc</i><d>x1</d><e>2.5kg</e></n>");
  ASSERT_TRUE(r->OpenRack("n"));
  int32_t i = 7;
  double d = 7;
  double e = 7;
  double missing = 0;
  EXPECT_TRUE(r->Value("i", i, 9));
  EXPECT_TRUE(r->Value("d", d, 9));
  EXPECT_TRUE(r->Value("e", e, 9));
  EXPECT_FALSE(r->Value("m", missing, 9));
  EXPECT_EQ(i, 0);
  EXPECT_EQ(d, 0);
  EXPECT_EQ(e, 2.5);
  EXPECT_EQ(missing, 9);
}

struct BoolCase {
  const char* text;
  bool def;
  bool expected;
};

class ZrBarnXmlBool : public ::testing::TestWithParam<BoolCase> {};

TEST_P(ZrBarnXmlBool, OnlyTrueAndFalseAreRecognised) {
  auto r = Read(std::string("<b>") + GetParam().text + "</b>");
  bool v = !GetParam().expected;
  EXPECT_TRUE(r->Value("b", v, GetParam().def));
  EXPECT_EQ(v, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Cases, ZrBarnXmlBool,
                         ::testing::Values(BoolCase{"true", false, true},
                                           BoolCase{"false", true, false},
                                           BoolCase{"TRUE", false, false},
                                           BoolCase{"1", true, true}, BoolCase{"", true, true}));

TEST(ZrBarnXml, BoolAndDateWritten) {
  ZrBarnXml w("w");
  w.OpenRack("x");
  bool t = true;
  bool f = false;
  ZrADateTime date;
  date.SetDate(2024, 1, 31);
  date.SetTime(9, 5, 0);
  w.Value("t", t, false);
  w.Value("f", f, true);
  w.Value("d", date, ZrADateTime());
  w.CloseRack();
  const std::string text = Written(w);
  EXPECT_EQ(text, "<x><t>true</t>\n<f>false</f>\n<d>2024/01/31 09:05:00</d>\n</x>\n");
  auto r = Read(text);
  ASSERT_TRUE(r->OpenRack("x"));
  ZrADateTime back;
  ZrADateTime def;
  def.SetDate(1999, 9, 9);
  EXPECT_TRUE(r->Value("d", back, def));
  EXPECT_EQ(back.DateTimeString(), "2024/01/31 09:05:00");
  EXPECT_FALSE(r->Value("d", back, def));
  EXPECT_EQ(back.DateString(), "1999/09/09");
}

TEST(ZrBarnXml, StringVectorsAreEscapedTwice) {
  ZrBarnXml w("w");
  std::vector<std::string> items = {"a<b", "&amp;", "", "plain"};
  w.Value("list", items);
  const std::string text = Written(w);
  EXPECT_EQ(text,
            "<list><r>a&amp;lt;b</r>\n<r>&amp;amp;amp;</r>\n<r></r>\n<r>plain</r>\n</list>\n");
  auto r = Read(text);
  std::vector<std::string> back = {"stale"};
  EXPECT_TRUE(r->Value("list", back));
  // Over-unescaping: "&amp;" comes back as "&".
  const std::vector<std::string> expected = {"a<b", "&", "", "plain"};
  EXPECT_EQ(back, expected);
  EXPECT_FALSE(r->Value("list", back));
  EXPECT_EQ(back, expected);

  ZrBarnXml empty("w");
  std::vector<std::string> none;
  empty.Value("list", none);
  EXPECT_EQ(Written(empty), "<list></list>\n");
}

TEST(ZrBarnXml, SentinelItemEndsTheList) {
  auto r = Read("<l><r>a</r><r>ThisIsEndString[]</r><r>c</r></l>");
  std::vector<std::string> items;
  EXPECT_TRUE(r->Value("l", items));
  EXPECT_EQ(items, std::vector<std::string>{"a"});
}

TEST(ZrBarnXml, StatusMessages) {
  ZrBarnXml xml("r");
  EXPECT_EQ(xml.StatusMessage(), "");
  xml.SetText("<a>1</a>");
  EXPECT_EQ(xml.StatusMessage(), "Taging is finished. Analysing");
}

namespace {

std::string LongList(int count) {
  std::string text = "<list>";
  for (int k = 0; k < count; ++k) text += "<r>" + std::to_string(k) + "</r>";
  return text + "</list>";
}

// Seconds to tag `text` and read every item of the list.
double ReadListSeconds(const std::string& text, int expected) {
  const auto start = std::chrono::steady_clock::now();
  auto r = Read(text);
  std::vector<std::string> items;
  r->Value("list", items);
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  EXPECT_EQ(static_cast<int>(items.size()), expected);
  EXPECT_EQ(items.back(), std::to_string(expected - 1));
  return seconds;
}

}  // namespace

TEST(ZrBarnXml, ReadingManySiblingsIsLinear) {
  const std::string small = LongList(200000);
  const std::string large = LongList(400000);
  double tSmall = std::numeric_limits<double>::max();
  double tLarge = std::numeric_limits<double>::max();
  for (int run = 0; run < 3; ++run) {
    tSmall = std::min(tSmall, ReadListSeconds(small, 200000));
    tLarge = std::min(tLarge, ReadListSeconds(large, 400000));
  }
  // A rescan of consumed siblings would take minutes here; linear reading takes well under a
  // second even in sanitizer builds.
  EXPECT_LT(tSmall, 2.0);
  EXPECT_LT(tLarge, 3.2 * tSmall + 0.05);
}

TEST(ZrBarnXml, InterleavedNamesAreFoundWithoutRescanning) {
  std::string text = "<t>";
  for (int k = 0; k < 100000; ++k) text += "<a>" + std::to_string(k) + "</a><b>x</b>";
  text += "</t>";
  const auto start = std::chrono::steady_clock::now();
  auto r = Read(text);
  ASSERT_TRUE(r->OpenRack("t"));
  int32_t v = -1;
  int64_t sum = 0;
  while (r->Value("a", v, -1)) sum += v;
  std::string b;
  int bs = 0;
  while (r->Value("b", b, "")) ++bs;
  EXPECT_EQ(sum, 100000LL * 99999 / 2);
  EXPECT_EQ(bs, 100000);
  EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 2.0);
}

TEST(ZrBarnXml, DeeplyNestedDocumentIsTaggedAndDestroyed) {
  std::string text;
  for (int k = 0; k < 200000; ++k) text += "<d>";
  auto r = Read(text);
  ASSERT_TRUE(r->OpenRack("d"));
  ASSERT_TRUE(r->OpenRack("d"));
  r.reset();  // destruction must not recurse 200000 levels
  SUCCEED();
}
