// GraphicsPortTest's rules on their own: the matching of expected and detected ports and port types
// with instances (the port log is checked end to end).
#include <gtest/gtest.h>

#include "subtests/GraphicsPortTest.h"

namespace {

const char kCardId[] = "PCI\\VEN_102B&DEV_0534&SUBSYS_02351028&REV_00\\4&1D9A1E5C&0&00";

DetectedPort Detected(const std::string& type, uint32_t instance, const std::string& deviceId = kCardId) {
  DetectedPort port;
  port.PortType = type;
  port.ConnectorInstance = instance;
  port.AdapterPath = "\\\\?\\" + deviceId + "\\{5B45201D-F2F2-4F3B-85BB-30FF1F953599}";
  return port;
}

ExpectedPort Expected(const std::string& field, const std::string& deviceId = "") {
  ExpectedPort port;
  SetPortType(port, field);
  port.CardDeviceId = deviceId;
  return port;
}

TEST(GraphicsPortRules, TypeInstanceAndCardDecideAMatch) {
  const ExpectedPort dvi = Expected("dvi");
  EXPECT_EQ(dvi.PortType, "DVI");
  EXPECT_TRUE(dvi.AnyInstance);
  EXPECT_TRUE(PortMatches(dvi, Detected("DVI", 1)));
  EXPECT_TRUE(PortMatches(dvi, Detected("DVI", 2)));
  EXPECT_FALSE(PortMatches(dvi, Detected("VGA", 1)));

  // The number is behind the last dash of the type.
  EXPECT_EQ(Expected("D-JPN-3").ConnectorInstance, 3);
  EXPECT_TRUE(PortMatches(Expected("D-JPN-3"), Detected("D-JPN", 3)));

  // The detected name is looked for in the expected type, case and all.
  EXPECT_TRUE(PortMatches(Expected("HDMI"), Detected("HDMI", 1)));
  EXPECT_FALSE(PortMatches(dvi, Detected("dvi", 1)));
  // A port of a type without a name is in every expected type.
  EXPECT_TRUE(PortMatches(Expected("VGA"), Detected("", 1)));

  // The card's device id must be in the adapter path; an unknown card asks for none.
  const std::string other = "PCI\\VEN_102B&DEV_0534&SUBSYS_02351028&REV_00\\4&1D9A1E5D&0&00";
  EXPECT_TRUE(PortMatches(Expected("DVI", kCardId), Detected("DVI", 1)));
  EXPECT_FALSE(PortMatches(Expected("DVI", other), Detected("DVI", 1)));
  EXPECT_TRUE(PortMatches(Expected("DVI", ""), Detected("DVI", 1, other)));
}

}  // namespace
