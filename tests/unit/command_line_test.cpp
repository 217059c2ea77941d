#include <gtest/gtest.h>

#include "framework/CmdLineParser.h"

namespace {

std::map<std::string, std::string> Parse(std::vector<const char*> words) {
  words.insert(words.begin(), "prog");
  std::map<std::string, std::string> out;
  CmdLineParser::Parse(static_cast<int>(words.size()), words.data(), out);
  return out;
}

}  // namespace

TEST(CommandLine, NamesAreLoweredAndValuesKept) {
  auto args = Parse({"-Level=a=b", "-HELP=TRUE", "-Help", "-x=1", "-X=2", "", "-Empty="});
  EXPECT_EQ(args.at("-level"), "a=b");
  EXPECT_EQ(args.at("-help"), "-Help");  // the later word wins, and without "=" it is its own value, unlowered
  EXPECT_EQ(args.at("-x"), "2");
  EXPECT_EQ(args.at(""), "");
  EXPECT_EQ(args.at("-empty"), "");
  EXPECT_EQ(args.size(), 5u);
}
