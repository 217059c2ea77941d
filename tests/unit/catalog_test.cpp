#include <gtest/gtest.h>

#include "framework/KestArgument.h"
#include "framework/KestConstraint.h"

// The order of the attributes and the flags the subtests use are pinned by the catalog runs.
TEST(CatalogElement, RequiredAndHiddenFlags) {
  KestArgument flags("-Secret", KestArgument::TypeString, "", "",
                     nullptr, ArgumentFlag::Required | ArgumentFlag::Hidden | ArgumentFlag::GuiHidden);
  EXPECT_EQ(flags.GetCatalogElement(0),
            "<ARGUMENT Name=\"-Secret\" Type=\"string\" Required=\"true\" Hidden=\"true\" GUIHidden=\"true\" />");
}

TEST(CatalogElement, EscapingAndLineBreaks) {
  // Name and default stand as declared; the description is escaped and put on one line.
  KestArgument odd("-A<b>", KestArgument::TypeInteger, "0x10", "Say \"hi\"\n\tand <go> & 'stop'");
  EXPECT_EQ(odd.GetCatalogElement(0),
            "<ARGUMENT Name=\"-A<b>\" Type=\"integer\" Value=\"0x10\" Required=\"false\" "
            "Description=\"Say &quot;hi&quot; \tand &lt;go&gt; &amp; &apos;stop&apos;\" />");
}

TEST(CatalogElement, ConstraintAttributes) {
  EXPECT_EQ(KestConstraint("a&b,c").GetCatalogAttributes(), " List=\"a&amp;b,c\"");
  EXPECT_EQ(KestConstraint(0.5, 2.5).GetCatalogAttributes(), " Low=\"0.5\" High=\"2.5\"");
  EXPECT_EQ(KestConstraint(int64_t{-1}, int64_t{5000000000}).GetCatalogAttributes(),
            " Low=\"-1\" High=\"5000000000\"");
  const char* expected[] = {" Equal=\"7\"", " DifferentThan=\"7\"", " GreaterThan=\"7\"",
                            " EqualToOrGreaterThan=\"7\"", " EqualToOrLessThan=\"7\"", " LessThan=\"7\""};
  for (int op = 0; op <= 5; ++op)
    EXPECT_EQ(KestConstraint(int32_t{7}, static_cast<KestConstraint::Operators>(op)).GetCatalogAttributes(),
              expected[op]);
  EXPECT_EQ(KestConstraint(0.25, KestConstraint::GreaterThan).GetCatalogAttributes(), " GreaterThan=\"0.25\"");
}

TEST(Dictionary, ListWordsOnlyForStringArguments) {
  KestArgument sleep("-SleepType", KestArgument::TypeString, "standby", "Type of\nfeature.",
                     new KestConstraint("suspend,,standby, off"));
  EXPECT_EQ(sleep.GetDictionary("VideoPowerManagementTest"),
            "\nVideoPowerManagementTest/-SleepType/Name = TBC\n"
            "VideoPowerManagementTest/-SleepType/Description = Type of feature.\n"
            "VideoPowerManagementTest/-SleepType/List/suspend = TBC\n"
            "VideoPowerManagementTest/-SleepType/List/standby = TBC\n"
            "VideoPowerManagementTest/-SleepType/List/ off = TBC\n");
  KestArgument level("-Level", KestArgument::TypeInteger, "1", "<Level> & \"x\"", new KestConstraint("1,2"));
  EXPECT_EQ(level.GetDictionary("T"), "\nT/-Level/Name = TBC\nT/-Level/Description = <Level> & \"x\"\n");
  KestArgument range("-Retries", KestArgument::TypeInteger, "1", "", new KestConstraint(1, 10));
  EXPECT_EQ(range.GetDictionary("T"), "\nT/-Retries/Name = TBC\nT/-Retries/Description = \n");
}
