#include <gtest/gtest.h>

#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"

TEST(Constraint, IntegerRangeIsInclusiveAndTakesHex) {
  KestConstraint range(1, 10);
  for (const char* good : {"1", "10", "0xA"}) EXPECT_TRUE(range.IsSatisfiedBy(good)) << good;
  for (const char* bad : {"0", "11", "ten", "-0x1F0", ""}) EXPECT_FALSE(range.IsSatisfiedBy(bad)) << bad;
}

TEST(Constraint, ListIsCaseInsensitiveAndKeepsBlanks) {
  KestConstraint list("suspend,standby,off");
  EXPECT_TRUE(list.IsSatisfiedBy("STANDBY"));
  EXPECT_FALSE(list.IsSatisfiedBy(" standby"));
  EXPECT_FALSE(list.IsSatisfiedBy(""));
  KestConstraint spaced("a, b,,c");
  EXPECT_TRUE(spaced.IsSatisfiedBy(" B"));
  EXPECT_FALSE(spaced.IsSatisfiedBy("b"));
}

TEST(Constraint, ComparisonsBySignedValue) {
  EXPECT_TRUE(KestConstraint(int32_t{0}, KestConstraint::EqualToOrGreaterThan).IsSatisfiedBy("0"));
  EXPECT_FALSE(KestConstraint(int32_t{0}, KestConstraint::EqualToOrGreaterThan).IsSatisfiedBy("-1"));
  EXPECT_TRUE(KestConstraint(int32_t{5}, KestConstraint::Equal).IsSatisfiedBy("0x5"));
  EXPECT_TRUE(KestConstraint(int32_t{5}, KestConstraint::DifferentThan).IsSatisfiedBy("4"));
  EXPECT_FALSE(KestConstraint(int32_t{5}, KestConstraint::GreaterThan).IsSatisfiedBy("5"));
  EXPECT_TRUE(KestConstraint(int32_t{5}, KestConstraint::EqualToOrLessThan).IsSatisfiedBy("-0x10"));
  EXPECT_FALSE(KestConstraint(int32_t{5}, KestConstraint::LessThan).IsSatisfiedBy("5"));
  EXPECT_TRUE(KestConstraint(0.5, 2.5).IsSatisfiedBy("2.5"));
  EXPECT_FALSE(KestConstraint(0.5, 2.5).IsSatisfiedBy("2.51"));
  EXPECT_FALSE(KestConstraint(0.5, 2.5).IsSatisfiedBy("0x1"));  // a double rule wants a double
  EXPECT_TRUE(KestConstraint(int64_t{0}, int64_t{10000000000}).IsSatisfiedBy("9999999999"));
  EXPECT_FALSE(KestConstraint(int64_t{0}, KestConstraint::GreaterThan).IsSatisfiedBy("-0x1"));
}

TEST(Constraint, HelpTextAndRangeEnds) {
  EXPECT_EQ(KestConstraint("suspend,standby,off").GetHelpText(), "\n\t - Value must be one of [suspend|standby|off]");
  EXPECT_EQ(KestConstraint(0, 10).GetHelpText(), "\n\t - Value must be between [0..10]");
  EXPECT_EQ(KestConstraint(0.5, 2.25).GetHelpText(), "\n\t - Value must be between [0.5..2.25]");
  EXPECT_EQ(KestConstraint(int32_t{0}, KestConstraint::EqualToOrGreaterThan).GetHelpText(),
            "\n\t - Value must be equal to or greater than 0");
  EXPECT_EQ(KestConstraint(1.5, KestConstraint::LessThan).GetHelpText(), "\n\t - Value must be less than 1.5");
  EXPECT_EQ(KestConstraint(int64_t{-7}, KestConstraint::DifferentThan).GetHelpText(),
            "\n\t - Value must be different than -7");
  EXPECT_EQ(KestConstraint("a,b").GetLowText(), "invalidString");
  EXPECT_EQ(KestConstraint(int64_t{-3}, int64_t{3000000000}).GetHighText(), "3000000000");
}

TEST(Argument, ValidateByTypeThenConstraint) {
  KestArgument flag("-Calibrate", KestArgument::TypeBoolean, "false", "");
  EXPECT_TRUE(flag.Validate("TRUE"));
  EXPECT_FALSE(flag.Validate("1"));
  KestArgument count("-Count", KestArgument::TypeInteger, "", "");
  EXPECT_TRUE(count.Validate("0x1f"));
  EXPECT_TRUE(count.Validate("-12"));
  EXPECT_FALSE(count.Validate("1.5"));
  KestArgument retries("-Retries", KestArgument::TypeInteger, "1", "", new KestConstraint(1, 10));
  EXPECT_TRUE(retries.Validate("0x5"));
  EXPECT_FALSE(retries.Validate("11"));
  KestArgument ratio("-Ratio", KestArgument::TypeDouble, "", "");
  EXPECT_FALSE(ratio.Validate("1e3"));
  KestArgument text("-Name", KestArgument::TypeString, "", "", new KestConstraint("a,b"));
  EXPECT_TRUE(text.Validate("A"));
  EXPECT_FALSE(text.Validate("c"));
  KestArgument large("-Big", KestArgument::TypeLargeInteger, "", "");
  EXPECT_TRUE(large.Validate("0x100000000"));
  EXPECT_FALSE(large.Validate("big"));
}

