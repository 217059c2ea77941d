#include <gtest/gtest.h>

#include "Inventory.h"

namespace {

TEST(Inventory, TheSimulatedMachinesHardwareComesBackAsTheContractsObject) {
  std::string problem;
  nlohmann::json hardware = ReadInventory(RASTERSCAN_INVENTORY, "", &problem);
  ASSERT_TRUE(hardware.is_object()) << problem;
  ASSERT_EQ(hardware["adapters"].size(), 1u);
  const nlohmann::json& adapter = hardware["adapters"][0];
  EXPECT_EQ(adapter["vendor_id"], "0x102B");
  EXPECT_EQ(adapter["device_id"], "0x0534");
  EXPECT_EQ(adapter["driver_version"], "8.15.10.2900");
  EXPECT_GT(adapter["memory_bytes"].get<long long>(), 0);
  ASSERT_EQ(hardware["monitors"].size(), 1u);
  EXPECT_EQ(hardware["monitors"][0]["width"], 1024);
  EXPECT_EQ(hardware["monitors"][0]["height"], 768);

  struct Case {
    const char* program;
    const char* problem;
  } failing[] = {{"/bin/false", "ended with status"}, {"/bin/true", "printed no inventory"}};
  for (const Case& c : failing) {
    problem.clear();
    EXPECT_TRUE(ReadInventory(c.program, "", &problem).is_null()) << c.program;
    EXPECT_NE(problem.find(c.problem), std::string::npos) << problem;
  }
  EXPECT_TRUE(ParseInventory(R"({"adapters": {}, "monitors": []})").is_null());
  EXPECT_TRUE(ParseInventory("garbage").is_null());
}

}  // namespace
