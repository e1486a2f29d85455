// The end test of the host's answers, case by case.
#include "hostlink/ZrAnswerEnd.h"

#include <gtest/gtest.h>

#include "tests/common/ZrTestUtil.h"

namespace {

struct AnswerEndCase {
  const char* Name;
  std::string Text;
  bool Complete;
};

class ZrAnswerEnd : public ::testing::TestWithParam<AnswerEndCase> {};

}  // namespace

TEST_P(ZrAnswerEnd, CompleteWhenTheRootTagEndsOneCharacterBeforeTheEnd) {
  EXPECT_EQ(ZrAnswerComplete(GetParam().Text), GetParam().Complete) << GetParam().Text;
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ZrAnswerEnd,
    ::testing::Values(AnswerEndCase{"LineFeedAfterTag", "<air><i0></i0>\n</air>\n", true},
                      AnswerEndCase{"AnyCharacterAfterTag", "<air></air>x", true},
                      AnswerEndCase{"TagAndOneCharacterOnly", "</air>\n", true},
                      AnswerEndCase{"NothingAfterTag", "<air><i0></i0>\n</air>", false},
                      AnswerEndCase{"TwoCharactersAfterTag", "<air></air>\n\n", false},
                      AnswerEndCase{"TagCutShort", "<air></air\n", false},
                      AnswerEndCase{"SixCharacters", "<air>\n", false},
                      AnswerEndCase{"Empty", "", false},
                      AnswerEndCase{"ShorterThanTheTag", "air>\n", false},
                      AnswerEndCase{"TagInsideEarlierText", "</air>\n<air>", false}),
    ZrCaseName());
