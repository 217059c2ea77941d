#include <gtest/gtest.h>

#include "text/TextHelpers.h"

TEST(NumberPredicates, IntegerForms) {
  EXPECT_TRUE(IsInteger("0X1f"));
  EXPECT_TRUE(IsInteger("-0x1f"));
  EXPECT_TRUE(IsInteger("-12"));
  EXPECT_TRUE(IsInteger("-"));  // an empty run of digits after the sign
  EXPECT_FALSE(IsInteger("0x"));
  EXPECT_FALSE(IsInteger("1f"));
  EXPECT_FALSE(IsInteger(""));
  EXPECT_FALSE(IsInteger("--1"));
  EXPECT_FALSE(IsInteger("1.5"));
  EXPECT_FALSE(IsInteger("0xg"));
  EXPECT_TRUE(IsDigits(""));
  EXPECT_FALSE(IsDecimal(""));
}

TEST(NumberPredicates, DoubleForms) {
  for (const char* good : {"1.5", "-2", "+2.0", "007", ".5", "0.25"}) EXPECT_TRUE(IsDouble(good)) << good;
  for (const char* bad : {"", "-.5", "1.", "1.2.3", "1e3", "-", "+", ".", "1,5", " 1", "+-1"})
    EXPECT_FALSE(IsDouble(bad)) << bad;
}

TEST(Conversions, ChooseTheBaseFromTheText) {
  EXPECT_EQ(ToInt32("-0x10"), -16);
  EXPECT_EQ(ToInt32("0xA"), 10);
  EXPECT_EQ(ToInt32("abc"), 0);
  EXPECT_EQ(ToInt32("-"), 0);
  EXPECT_EQ(ToInt32("-2147483648"), INT32_MIN);
  EXPECT_EQ(ToInt32("99999999999"), INT32_MAX);  // out of range saturates
  EXPECT_EQ(ToUInt32("0xFFFFFFFF"), 0xFFFFFFFFu);
  EXPECT_EQ(ToUInt32("4294967295"), 4294967295u);
  EXPECT_EQ(ToInt64("0x1F0"), 0x1F0);
  EXPECT_EQ(ToInt64("-0x1F0"), -0x1F0);
  EXPECT_EQ(ToInt64("-9000000000"), -9000000000LL);
  EXPECT_EQ(ToInt64("1f"), 0);
  EXPECT_DOUBLE_EQ(ToDouble("2.5"), 2.5);
  EXPECT_DOUBLE_EQ(ToDouble("-0.125"), -0.125);
}

TEST(Conversions, ToTextUsesDefaultStreamFormatting) {
  EXPECT_EQ(ToText(int32_t{-5}), "-5");
  EXPECT_EQ(ToText(uint32_t{4000000000u}), "4000000000");
  EXPECT_EQ(ToText(int64_t{-9000000000LL}), "-9000000000");
  EXPECT_EQ(ToText(0.5), "0.5");
  EXPECT_EQ(ToText(1234567.0), "1.23457e+06");  // six significant digits
  EXPECT_EQ(ToHexText(0xABCDu), "abcd");
}

TEST(TextFunctions, WidenAndNarrowWorkByteForByte) {
  std::wstring wide = Widen("a\xE9");
  ASSERT_EQ(wide.size(), 2u);
  EXPECT_EQ(static_cast<uint32_t>(wide[0]), 0x61u);
  EXPECT_EQ(static_cast<uint32_t>(wide[1]), 0xFFE9u);
  EXPECT_EQ(Narrow(wide), "a\xE9");
  EXPECT_EQ(Narrow(L"plain text"), "plain text");
  EXPECT_EQ(ToLowerW(L"AbC"), L"abc");
  EXPECT_EQ(ToLower("AbC1"), "abc1");
  EXPECT_EQ(ToUpper("AbC1"), "ABC1");
}

TEST(TextFunctions, XmlEscapeCoversQuotesOfCodePage1252) {
  EXPECT_EQ(XmlEscape("a<b>&'`\""), "a&lt;b&gt;&amp;&apos;&apos;&quot;");
  EXPECT_EQ(XmlEscape("\x92\x93\x94"), "&apos;&quot;&quot;");
  EXPECT_EQ(XmlEscape("\xE9"), "\xE9");
}
