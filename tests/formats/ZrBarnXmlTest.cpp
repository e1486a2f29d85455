// Tagging quirks, cursor, value accessors, escaping and written layout of ZrBarnXml.
#include "formats/ZrBarnXml.h"

#include <gtest/gtest.h>

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

// Writes v as element "v", reads it back from the text.
template <class T>
T ThroughText(T v) {
  ZrBarnXml w("w");
  w.Value("v", v, T{});
  T back{};
  EXPECT_TRUE(Read(Written(w))->Value("v", back, T{1}));
  return back;
}

// A document, the tagging error it gives ("<no ZrError>" for none) and then cursor steps:
// ">a" opens a (found), "<a" closes a, "a=v" reads string a as v, "*a,b" lists the unread
// children as a and b, and a leading "!" expects a miss (the default comes back for a value).
struct ReadCase {
  const char* Name;
  std::string Text;
  std::string Error;
  std::vector<std::string> Steps;
};

class ZrBarnXmlReading : public ::testing::TestWithParam<ReadCase> {};

TEST_P(ZrBarnXmlReading, QuirksAndMessages) {
  const ReadCase& c = GetParam();
  ZrBarnXml xml("r");
  EXPECT_ZR_ERROR(xml.SetText(c.Text), c.Error);
  for (const std::string& step : c.Steps) {
    SCOPED_TRACE(step);
    const bool found = step[0] != '!';
    const std::string op = step.substr(found ? 0 : 1);
    if (op[0] == '>') {
      EXPECT_EQ(xml.OpenRack(op.substr(1)), found);
    } else if (op[0] == '<') {
      xml.CloseRack(op.substr(1));
    } else if (op[0] == '*') {
      std::string names;
      for (const std::string& n : xml.ChildNames()) names += (names.empty() ? "" : ",") + n;
      EXPECT_EQ(names, op.substr(1));
    } else {
      const size_t eq = op.find('=');
      std::string v = "stale";
      EXPECT_EQ(xml.Value(op.substr(0, eq), v, "default"), found);
      EXPECT_EQ(v, found ? op.substr(eq + 1) : "default");
    }
  }
}

const std::string kOk = "<no ZrError>";
const std::string kBadTag = "Illigal Tag Structure";

INSTANTIATE_TEST_SUITE_P(
    Cases, ZrBarnXmlReading,
    ::testing::Values(
        ReadCase{"RepeatedNamesInOrderThenConsumed",
                 "<a><b>1</b><c>x</c><b>2</b></a>",
                 kOk,
                 {"*a", ">a", "*b,c,b", "b=1", "*c,b", "b=2", "!b", "c=x", "*", "<a", "!>a"}},
        // Only children are searched, case-sensitively; a miss leaves the cursor.
        ReadCase{
            "OpenRackMisses", "<a><b><c>1</c></b></a>", kOk, {">a", "!>c", "!>B", ">b", "c=1"}},
        ReadCase{"AttributesAreNotPartOfTheName", "<a x=\"1\" y=2>v</a>", kOk, {"a=v"}},
        ReadCase{"DeclarationSkipped", "<?xml version=\"1.0\"?>\n<a>7</a>", kOk, {"a=7"}},
        // An empty-element tag keeps its slash and opens nothing: b/ is a sibling of a/.
        ReadCase{"EmptyElementTag", "<r><a/><b/></r>", kOk, {">r", "*a/,b/", "!a", "a/=", ">b/"}},
        ReadCase{"EndTagNameNotCompared", "<r><a>1</z><b>2</b></r>", kOk, {">r", "a=1", "b=2"}},
        ReadCase{"StartTagWithoutEndTag", "<r><a>text", kOk, {">r", "a="}},
        // The tag text " 2 " has an empty name.
        ReadCase{
            "UnescapedLessThanOpensAnElement", "<r><a>1 < 2 > 0</a></r>", kOk, {">r", ">a", ">"}},
        ReadCase{"UnclosedEndTag", "<a>1 < 2</a", kBadTag, {}},
        ReadCase{"LoneLessThan", "<", kBadTag, {}},
        ReadCase{"TrailingLessThan", "<a>x<", kBadTag, {}},
        ReadCase{"UnclosedStartTag", "<a", kBadTag, {}},
        ReadCase{"UnclosedQuestion", "<?", kBadTag, {}}, ReadCase{"EmptyTag", "<>", kOk, {">"}},
        ReadCase{"OnlyEndTags", "</a></b>", kOk, {"!>a"}},
        ReadCase{"PlainText", "plain text", kOk, {"!>plain"}}, ReadCase{"Empty", "", kOk, {"!a"}}),
    ZrCaseName());

TEST(ZrBarnXml, AttributesReadAndWritten) {
  auto xml = Read("<a x=\"1\" y=2>v</a>");
  std::vector<std::pair<std::string, std::string>> attributes;
  EXPECT_FALSE(xml->Attributes("b", attributes));
  ASSERT_TRUE(xml->Attributes("a", attributes));
  EXPECT_EQ(attributes, (decltype(attributes){{"x", "1"}, {"y", "2"}}));
  xml->CloseRack("a");  // the name excludes the attributes

  ZrBarnXml w("w");
  attributes = {{"k", "v"}, {"n", "2"}};
  ASSERT_TRUE(w.Attributes("a", attributes));
  int32_t one = 1;
  w.Value("b", one, 0);
  w.CloseRack("a");
  EXPECT_EQ(Written(w), "<a k=\"v\" n=\"2\"><b>1</b>\n</a>\n");
}

TEST(ZrBarnXml, ModeCloseAndStatusMessages) {
  ZrBarnXml w("w");
  EXPECT_ZR_ERROR(w.SetText("<a/>"), "mode is illigal");
  EXPECT_ZR_ERROR(w.CloseRack(), "Over CloseRack");
  w.OpenRack("a");
  EXPECT_ZR_ERROR(w.CloseRack("b"), "Invalid Tag Name:a <> b");
  EXPECT_NO_THROW(w.CloseRack("a"));

  ZrBarnXml r("r");
  EXPECT_EQ(r.StatusMessage(), "");
  r.SetText("<a><b/></a>");
  EXPECT_EQ(r.StatusMessage(), "Taging is finished. Analysing");
  EXPECT_ZR_ERROR(r.CloseRack(), "Over CloseRack");
  ASSERT_TRUE(r.OpenRack("a"));
  EXPECT_ZR_ERROR(r.CloseRack("x"), "Invalid Tag Name:a <> x");
}

// Escaping, and unescaping that repeats each step until nothing is left to replace.
struct EscapeCase {
  const char* Raw;
  const char* Escaped;
  bool EscapesToIt;  // Escape(raw) gives `escaped` too
};

class ZrBarnXmlEscape : public ::testing::TestWithParam<EscapeCase> {};

TEST_P(ZrBarnXmlEscape, EscapeAndOverUnescape) {
  if (GetParam().EscapesToIt) {
    EXPECT_EQ(ZrBarnXml::Escape(GetParam().Raw), GetParam().Escaped);
  }
  EXPECT_EQ(ZrBarnXml::Unescape(GetParam().Escaped), GetParam().Raw);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ZrBarnXmlEscape,
    ::testing::Values(EscapeCase{"a<b&c", "a&lt;b&amp;c", true},
                      EscapeCase{"\"q\" > 'p'", "&quot;q&quot; &gt; 'p'", true},
                      EscapeCase{"&&", "&amp;&amp;", true}, EscapeCase{"plain", "plain", true},
                      EscapeCase{"", "", true}, EscapeCase{"&", "&amp;amp;", false},
                      EscapeCase{"&x", "&amp;amp;amp;amp;x", false},
                      EscapeCase{"&lt;", "&amp;lt;", false},
                      EscapeCase{"&amp&;", "&amp&amp;;", false},
                      EscapeCase{"&apos;&#60;", "&apos;&#60;", false},
                      EscapeCase{"&&", "&&amp;amp;amp;", false}));

TEST(ZrBarnXml, WrittenLayoutAndStringRoundTrip) {
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
  // The stored "&amp;amp;" is over-unescaped back to a single "&".
  EXPECT_EQ(ThroughText<std::string>("a&amp;b <c> \"d\" 'e'\nline"), "a&b <c> \"d\" 'e'\nline");
}

TEST(ZrBarnXml, FloatingTextLikeADefaultStream) {
  const std::pair<long double, const char*> cases[] = {
      {100, "100"}, {0.1L, "0.1"}, {1234567, "1.23457e+06"}, {-2.5e-7L, "-2.5e-07"}};
  for (auto [value, text] : cases) {
    const std::string expected = std::string("<v>") + text + "</v>\n";
    ZrBarnXml wd("w"), wl("w");
    double d = static_cast<double>(value);
    wd.Value("v", d, 0);
    EXPECT_EQ(Written(wd), expected);
    wl.Value("v", value, 0);
    EXPECT_EQ(Written(wl), expected);
  }
}

TEST(ZrBarnXml, NumberValuesRoundTripUnparsableReadAsZeroMissingAsDefault) {
  EXPECT_EQ(ThroughText<int32_t>(std::numeric_limits<int32_t>::min()),
            std::numeric_limits<int32_t>::min());
  EXPECT_EQ(ThroughText<int64_t>(9007199254740993LL), 9007199254740993LL);
  EXPECT_EQ(ThroughText<uint32_t>(4294967295U), 4294967295U);
  EXPECT_EQ(ThroughText<float>(0.25F), 0.25F);

  auto r = Read("<n><i>abc</i><d>x1</d><e>2.5kg</e></n>");
  ASSERT_TRUE(r->OpenRack("n"));
  int32_t i = 7;
  double d = 7, e = 7, missing = 0;
  const std::vector<bool> found = {r->Value("i", i, 9), r->Value("d", d, 9), r->Value("e", e, 9),
                                   r->Value("m", missing, 9)};
  EXPECT_EQ(found, std::vector<bool>({true, true, true, false}));
  EXPECT_EQ(std::make_tuple(i, d, e, missing), std::make_tuple(0, 0.0, 2.5, 9.0));
}

TEST(ZrBarnXml, BoolsAndDates) {
  // Only "true" and "false" are recognised: text, default, value read.
  const std::tuple<const char*, bool, bool> cases[] = {{"true", false, true},
                                                       {"false", true, false},
                                                       {"TRUE", false, false},
                                                       {"1", true, true},
                                                       {"", true, true}};
  for (const auto& [text, def, expected] : cases) {
    bool v = !expected;
    EXPECT_TRUE(Read(std::string("<b>") + text + "</b>")->Value("b", v, def)) << text;
    EXPECT_EQ(v, expected) << text;
  }

  ZrBarnXml w("w");
  w.OpenRack("x");
  bool t = true, f = false;
  ZrADateTime date, back, def;
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
  def.SetDate(1999, 9, 9);
  // Read once; the second read misses and gives the default.
  EXPECT_TRUE(r->Value("d", back, def));
  const std::string first = back.DateTimeString();
  EXPECT_FALSE(r->Value("d", back, def));
  EXPECT_EQ(first + " " + back.DateString(), "2024/01/31 09:05:00 1999/09/09");
}

TEST(ZrBarnXml, StringVectorsAreEscapedTwiceAndEndAtTheSentinel) {
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
  EXPECT_TRUE(Read("<l><r>a</r><r>ThisIsEndString[]</r><r>c</r></l>")->Value("l", items));
  EXPECT_EQ(items, std::vector<std::string>{"a"});
}

TEST(ZrBarnXml, DeeplyNestedDocumentIsTaggedAndDestroyed) {
  std::string text;
  for (int k = 0; k < 200000; ++k) text += "<d>";
  auto r = Read(text);
  ASSERT_TRUE(r->OpenRack("d"));
  ASSERT_TRUE(r->OpenRack("d"));
  r.reset();  // destruction must not recurse 200000 levels
}

}  // namespace
