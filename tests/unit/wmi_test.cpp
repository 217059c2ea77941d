#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "hardware/SetupDI.h"
#include "hardware/WMIDiscovery.h"
#include "machine_fixture.h"
#include "platform/sim/management/management.h"
#include "platform/sim/management/smbios_model.h"

namespace {

using platform::sim::ManagementModel;
using platform::sim::ManagementObject;
using platform::sim::ManagementValue;

ManagementModel DefaultModel(std::vector<ManagementObject> controllers = {platform::sim::DefaultVideoController()}) {
  const auto firmware = platform::sim::DefaultSmbiosDescription();
  return platform::sim::BuildManagementModel(firmware, platform::sim::BuildSmbiosTable(firmware), controllers);
}

ManagementObject Controller(const std::string& description, const std::string& pnp) {
  ManagementObject row = platform::sim::DefaultVideoController();
  for (auto& p : row.Properties) {
    if (p.Name == "Description") p.Value = platform::sim::TextValue(description);
    if (p.Name == "PNPDeviceID") p.Value = platform::sim::TextValue(pnp);
  }
  return row;
}

class WmiTest : public ::testing::Test {
 protected:
  void TearDown() override { platform::sim::SetCurrentManagement(DefaultModel()); }
};

std::string ConnectError(const std::wstring& nameSpace) {
  try {
    WMIDiscovery wmi(nameSpace);
  } catch (const std::string& text) {
    return text;
  }
  return "<connected>";
}

}  // namespace

TEST_F(WmiTest, ConnectionFailuresNameTheStepAndCode) {
  // The process-wide discovery of other cases may hold COM already; what counts is that the
  // failures below leave it as it was.
  platform::WbemLocator* before = nullptr;
  const bool comWasOn = platform::CreateWbemLocator(&before) >= 0;
  if (before) platform::Release(before);
  EXPECT_EQ(ConnectError(L"ROOT\\CIMV2"), "<connected>");
  EXPECT_EQ(ConnectError(L"root\\wmi"), "<connected>");
  EXPECT_EQ(ConnectError(L"ROOT\\NOWHERE"), "WMIDiscovery Error: Could not connect. Error code = 0x8004100e\n");

  ManagementModel model = DefaultModel();
  model.BlanketResult = static_cast<platform::HResult>(0x80070005u);
  platform::sim::SetCurrentManagement(model);
  EXPECT_EQ(ConnectError(L"ROOT\\CIMV2"), "WMIDiscovery Error: Could not set proxy blanket. Error code = 0x80070005\n");
  model.LocatorResult = static_cast<platform::HResult>(0x80040154u);
  platform::sim::SetCurrentManagement(model);
  EXPECT_EQ(ConnectError(L"ROOT\\CIMV2"),
            "WMIDiscovery Error: Failed to create IWbemLocator object. Err code = 0x80040154\n");
  model.InitializeResult = static_cast<platform::HResult>(0x80010106u);
  platform::sim::SetCurrentManagement(model);
  EXPECT_EQ(ConnectError(L"ROOT\\CIMV2"),
            "WMIDiscovery Error: Failed to initialize COM library. Error code = 0x80010106\n");

  // A failed construction leaves COM as it found it: the next one starts clean.
  platform::sim::SetCurrentManagement(DefaultModel());
  platform::WbemLocator* locator = nullptr;
  EXPECT_EQ(platform::CreateWbemLocator(&locator) >= 0, comWasOn) << "COM state changed by failures";
  if (locator) platform::Release(locator);
}

TEST_F(WmiTest, QueriesAndRowValues) {
  platform::sim::SetCurrentManagement(DefaultModel({Controller("First & <best>", "PCI\\VEN_1A5C&DEV_0001"),
                                                    Controller("Second", "PCI\\VEN_1A5C&DEV_0002"),
                                                    Controller("Third", "PCI\\VEN_1A5C&DEV_0003")}));
  WMIDiscovery wmi(L"ROOT\\CIMV2");
  EXPECT_EQ(wmi.RunQuery(L"SELECT * FROM Win32_VideoController"), 3u);
  std::string value = "stale";
  EXPECT_TRUE(wmi.GetRowValue(L"Description", value, 1));
  EXPECT_EQ(value, "First & <best>");
  EXPECT_TRUE(wmi.GetRowValue(L"PNPDeviceID", value, 3));
  EXPECT_EQ(value, "PCI\\VEN_1A5C&DEV_0003");
  EXPECT_TRUE(wmi.GetRowValue(L"Description", value, 4));
  EXPECT_EQ(value, "");
  value = "stale";
  EXPECT_TRUE(wmi.GetRowValue(L"ErrorDescription", value, 2));  // a null reads as empty text
  EXPECT_EQ(value, "");
  EXPECT_TRUE(wmi.GetRowValue(L"AdapterRAM", value, 1));  // a number is no text
  EXPECT_EQ(value, "");

  // Queries that fail give tables without rows.
  EXPECT_EQ(wmi.RunQuery(L"SELECT * FROM Win32_NoSuchClass"), 0u);
  EXPECT_EQ(wmi.RunQuery(L"SELECT FROM Win32_VideoController"), 0u);
  EXPECT_EQ(wmi.RunQuery(L"select NoSuchProperty from Win32_VideoController"), 0u);
  EXPECT_TRUE(wmi.GetRowValue(L"Description", value, 1));
  EXPECT_EQ(value, "");

  // The forms the program uses: bare and quoted values, keywords in any case, projections.
  EXPECT_TRUE(wmi.GetFirstValue(L"select Name from Win32_Processor where DeviceID=CPU0", L"Name", value));
  EXPECT_EQ(value, platform::sim::DefaultSmbiosDescription().Processors[0].Version);
  EXPECT_FALSE(wmi.GetFirstValue(L"select Name from Win32_Processor where DeviceID='CPU1'", L"Name", value));
  EXPECT_EQ(value, "");
  EXPECT_FALSE(wmi.GetFirstValue(L"select Name from Win32_Processor where DeviceID=CPU0", L"Status", value));
  EXPECT_EQ(wmi.RunQuery(L"SELECT Description FROM win32_videocontroller WHERE Description = \"Second\""), 1u);
  double number = -1;
  EXPECT_TRUE(wmi.GetFirstNumber(L"select Architecture from Win32_Processor where DeviceID=CPU0", L"Architecture",
                                 number));
  EXPECT_EQ(number, 9);
  number = -1;
  EXPECT_FALSE(wmi.GetFirstNumber(L"select Name from Win32_Processor", L"Name", number));
  EXPECT_EQ(number, -1);
  // Text is still the first text for the architecture's numeric value: none.
  EXPECT_FALSE(wmi.GetFirstValue(L"select Architecture from Win32_Processor where DeviceID=CPU0", L"Architecture",
                                 value));
  EXPECT_EQ(value, "");
}

TEST_F(WmiTest, TextsComeBackAsUtf8) {
  ManagementObject row = Controller("Grafikkarte f\xC3\xBCr R\xC3\xA4ster \xE2\x82\xAC \xF0\x9F\x96\xA5", "x");
  platform::sim::SetCurrentManagement(DefaultModel({row}));
  WMIDiscovery wmi(L"ROOT\\CIMV2");
  std::string value;
  ASSERT_EQ(wmi.RunQuery(L"SELECT * FROM Win32_VideoController"), 1u);
  wmi.GetRowValue(L"Description", value, 1);
  EXPECT_EQ(value, "Grafikkarte f\xC3\xBCr R\xC3\xA4ster \xE2\x82\xAC \xF0\x9F\x96\xA5");
}

TEST_F(WmiTest, RawFirmwareTablesByteForByte) {
  WMIDiscovery wmi(L"ROOT\\WMI");
  const auto table = platform::sim::BuildSmbiosTable(platform::sim::DefaultSmbiosDescription());
  double size = 0;
  ASSERT_TRUE(wmi.GetFirstNumber(L"select Size from MSSmBios_RawSMBiosTables", L"Size", size));
  EXPECT_EQ(size, static_cast<double>(table.size()));
  std::vector<uint8_t> buffer(table.size());
  EXPECT_EQ(wmi.GetByteArray(L"MSSmBios_RawSMBiosTables", L"SMBiosData", buffer), 0.0);
  EXPECT_EQ(buffer, table);
  std::vector<uint8_t> small(10, 0xEE);  // never written past
  EXPECT_EQ(wmi.GetByteArray(L"MSSmBios_RawSMBiosTables", L"SMBiosData", small), 0.0);
  EXPECT_EQ(small, std::vector<uint8_t>(table.begin(), table.begin() + 10));
  EXPECT_EQ(wmi.GetByteArray(L"MSSmBios_RawSMBiosTables", L"Missing", buffer), -1.0);
  EXPECT_EQ(wmi.GetByteArray(L"NoSuchClass", L"SMBiosData", buffer), -1.0);
}

TEST_F(WmiTest, DiscoDocument) {
  ManagementModel model = DefaultModel();
  ManagementValue words;
  words.CimType = platform::CimString | platform::CimFlagArray;
  words.Texts = {"a<b", "it's"};
  ManagementValue flags;
  flags.CimType = platform::CimBoolean | platform::CimFlagArray;
  flags.Numbers = {1, 0};
  ManagementObject first;
  first.Properties = {{"Name", platform::sim::TextValue("R&D")},
                      {"Count", platform::sim::NumberValue(1234567, platform::CimUint32)},
                      {"Big", platform::sim::TextValue("", platform::CimUint64)},
                      {"When", platform::sim::TextValue("20190318000000.000000-000", platform::CimDatetime)},
                      {"On", platform::sim::BooleanValue(true)},
                      {"Words", words},
                      {"Flags", flags},
                      {"Nothing", platform::sim::NullValue(platform::CimString)},
                      {"NoNumber", platform::sim::NullValue(platform::CimUint16)},
                      {"Ratio", platform::sim::NumberValue(0.5, platform::CimReal32)},
                      {"Embedded", platform::sim::NullValue(platform::CimObject)}};
  first.Properties[2].Value.Texts.clear();
  first.Properties[2].Value.Numbers = {18446744073709551616.0 / 2};
  ManagementObject second;
  second.Properties = {{"Name", platform::sim::TextValue("\"q\"")}};
  model.Namespaces[0].Classes.push_back({"Test_Class", {first, second}});
  platform::sim::SetCurrentManagement(model);

  WMIDiscovery wmi(L"ROOT\\CIMV2");
  EXPECT_EQ(wmi.ToXml(), "<DISCO>\n</DISCO>\n");
  WMITable* table = wmi.GetTable(L"Test_Class");
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(wmi.GetTable(L"Test_Class"), table);  // kept
  EXPECT_EQ(table->RowCount(), 2u);
  EXPECT_EQ(wmi.ToXml(),
            "<DISCO>\n"
            "<INSTANCE NAME=\"Test_Class-0\" CLASSNAME=\"Test_Class\">\n"
            "  <PROPERTY NAME=\"Name\" TYPE=\"string\">\n    <VALUE>R&amp;D</VALUE>\n  </PROPERTY>\n"
            "  <PROPERTY NAME=\"Count\" TYPE=\"integer\">\n    <VALUE>1.23457e+06</VALUE>\n  </PROPERTY>\n"
            "  <PROPERTY NAME=\"Big\" TYPE=\"integer\">\n    <VALUE>9.22337e+18</VALUE>\n  </PROPERTY>\n"
            "  <PROPERTY NAME=\"When\" TYPE=\"datetime\">\n    <VALUE>2.01903e+13</VALUE>\n  </PROPERTY>\n"
            "  <PROPERTY NAME=\"On\" TYPE=\"boolean\">\n    <VALUE>true</VALUE>\n  </PROPERTY>\n"
            "  <PROPERTY NAME=\"Words\" TYPE=\"string\">\n    <VALUE>a&lt;b</VALUE>\n    <VALUE>it&apos;s</VALUE>\n"
            "  </PROPERTY>\n"
            "  <PROPERTY NAME=\"Flags\" TYPE=\"boolean\">\n    <VALUE>true</VALUE>\n    <VALUE>false</VALUE>\n"
            "  </PROPERTY>\n"
            "  <PROPERTY NAME=\"Nothing\" TYPE=\"string\">\n    <VALUE></VALUE>\n  </PROPERTY>\n"
            "  <PROPERTY NAME=\"NoNumber\" TYPE=\"integer\">\n  </PROPERTY>\n"
            "  <PROPERTY NAME=\"Ratio\" TYPE=\"integer\">\n    <VALUE>0.5</VALUE>\n  </PROPERTY>\n"
            "  <PROPERTY NAME=\"Embedded\" TYPE=\"Unknown\">\n  </PROPERTY>\n"
            "</INSTANCE>\n"
            "<INSTANCE NAME=\"Test_Class-1\" CLASSNAME=\"Test_Class\">\n"
            "  <PROPERTY NAME=\"Name\" TYPE=\"string\">\n    <VALUE>&quot;q&quot;</VALUE>\n  </PROPERTY>\n"
            "</INSTANCE>\n"
            "\n"
            "</DISCO>\n");

  wmi.GetTable(L"Win32_VideoController");
  const std::string xml = wmi.ToXml();
  EXPECT_NE(xml.find("<INSTANCE NAME=\"Win32_VideoController-0\" CLASSNAME=\"Win32_VideoController\">"),
            std::string::npos);
  EXPECT_NE(xml.find("  <PROPERTY NAME=\"AdapterRAM\" TYPE=\"integer\">\n    <VALUE>2.68435e+08</VALUE>\n"),
            std::string::npos);
  EXPECT_LT(xml.find("Test_Class-0"), xml.find("Win32_VideoController-0"));  // map order
}

TEST(ManagementModelText, MachineSectionsBuildTheModel) {
  const std::string dir = std::filesystem::temp_directory_path() / ("mgmt-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()));
  std::filesystem::create_directories(dir);
  const std::vector<uint8_t> dump = {2, 8, 0, 0, 0, 1, 0, 0, 'Z', 'Y', 'X', 'W', 'V', 0, 0};
  std::ofstream(dir + "/dump.bin", std::ios::binary).write(reinterpret_cast<const char*>(dump.data()),
                                                           static_cast<std::streamsize>(dump.size()));
  platform::sim::MachineText text;
  auto put = [&](const std::string& section, const std::string& key, const std::string& value) {
    text.Sections[section][key] = {value, 7};
  };
  put("processor.0", "architecture", "0");
  put("processor.0", "signature", "0x000206A7");
  put("processor.1", "version", "Second CPU");
  put("videocontroller.0", "description", "Raster Twin A");
  put("videocontroller.1", "description", "Raster Twin B");
  put("videocontroller.1", "errordescription", "null");
  put("videocontroller.1", "capabilitydescriptions", "x|y|z");
  put("management", "blanketresult", "0x80070005");
  put("firmware", "boardproduct", "5A5A board");
  for (const auto& section : text.Sections) EXPECT_TRUE(platform::sim::IsManagementSection(section.first));
  EXPECT_FALSE(platform::sim::IsManagementSection("pci 00:02.0"));
  EXPECT_FALSE(platform::sim::IsManagementSection("processor.x"));

  ManagementModel model;
  std::string error;
  ASSERT_TRUE(platform::sim::BuildManagementFromText(text, dir, model, error)) << error;
  EXPECT_EQ(model.BlanketResult, static_cast<platform::HResult>(0x80070005u));
  EXPECT_EQ(model.ProcessorSignature, 0x000206A7u);
  const auto& cimv2 = model.Namespaces[0];
  ASSERT_EQ(cimv2.Classes[0].Instances.size(), 2u);  // processors
  ASSERT_EQ(cimv2.Classes[1].Instances.size(), 2u);  // controllers

  model.BlanketResult = 0;
  platform::sim::SetCurrentManagement(model);
  {
    WMIDiscovery wmi(L"ROOT\\CIMV2");
    std::string value;
    EXPECT_EQ(wmi.RunQuery(L"select * from Win32_VideoController"), 2u);
    wmi.GetRowValue(L"Description", value, 2);
    EXPECT_EQ(value, "Raster Twin B");
    double architecture = -1;
    wmi.GetFirstNumber(L"select Architecture from Win32_Processor where DeviceID=CPU0", L"Architecture", architecture);
    EXPECT_EQ(architecture, 0);
    EXPECT_TRUE(wmi.GetFirstValue(L"select Name from Win32_Processor where DeviceID=CPU1", L"Name", value));
    EXPECT_EQ(value, "Second CPU");
  }

  put("firmware", "rawtable", "dump.bin");
  ASSERT_TRUE(platform::sim::BuildManagementFromText(text, dir, model, error)) << error;
  const auto& raw = model.Namespaces[1].Classes[0].Instances[0].Properties[3].Value.Numbers;
  EXPECT_EQ(std::vector<uint8_t>(raw.begin(), raw.end()), dump);

  auto refused = [&](const std::string& section, const std::string& key, const std::string& value) {
    platform::sim::MachineText bad = text;
    bad.Sections[section][key] = {value, 42};
    ManagementModel ignored;
    std::string reason;
    EXPECT_FALSE(platform::sim::BuildManagementFromText(bad, dir, ignored, reason)) << section << "/" << key;
    return reason;
  };
  EXPECT_EQ(refused("videocontroller.0", "colour", "red"), "line 42: unknown key 'colour' in [videocontroller.0]");
  EXPECT_EQ(refused("videocontroller.0", "adapterram", "lots"),
            "line 42: bad value 'lots' for 'adapterram' in [videocontroller.0]");
  EXPECT_EQ(refused("processor.0", "cores", "300"), "line 42: bad value '300' for 'cores' in [processor.0]");
  EXPECT_EQ(refused("firmware", "uuid", "not-a-uuid"), "line 42: bad value 'not-a-uuid' for 'uuid' in [firmware]");
  EXPECT_EQ(refused("management", "connectresult", "-"), "line 42: bad value '-' for 'connectresult' in [management]");
  EXPECT_NE(refused("firmware", "rawtable", "missing.bin").find("missing.bin"), std::string::npos);
  std::filesystem::remove_all(dir);
}

namespace {

using Strings = std::vector<std::string>;

// Puts a machine file, edited, in force with its management model, as the program's start does.
void Use(const std::string& name, const std::function<void(platform::sim::MachineText&)>& edit = {}) {
  platform::sim::MachineText text;
  platform::sim::Machine machine;
  ManagementModel model;
  std::string error;
  ASSERT_TRUE(platform::sim::ParseMachineText(machine_test::MachineFile(name), text, error)) << error;
  if (edit) edit(text);
  ASSERT_TRUE(platform::sim::BuildMachine(text, machine, error) &&
              platform::sim::BuildManagementFromText(text, "", model, error)) << error;
  platform::sim::SetCurrentMachine(machine);
  platform::sim::SetCurrentManagement(model);
}

// The Display class's instance ids through the program's own enumeration.
Strings DisplayClassIds() {
  Strings ids;
  SetupDI devices;
  devices.OpenDeviceList(nullptr, platform::DigcfPresent | platform::DigcfProfile, &platform::DisplayClassGuid);
  while (devices.NextDevice()) ids.push_back(devices.GetDeviceId());
  return ids;
}

// One Win32_VideoController property of each row, numbers written out whole.
Strings Column(const wchar_t* property) {
  WMIDiscovery wmi(L"ROOT\\CIMV2");
  platform::WbemEnumerator* rows = wmi.ExecQuery(L"SELECT * FROM Win32_VideoController");
  WMITable table(L"", rows);
  if (rows) platform::Release(rows);
  Strings values;
  for (size_t row = 1; row <= table.RowCount(); ++row) {
    platform::Variant value;
    EXPECT_TRUE(table.GetFromRow(property, value, row));
    const auto numbers = WMIDiscovery::Numbers(value);
    values.push_back(numbers.empty() ? WMIDiscovery::Texts(value).at(0) : std::to_string(std::llround(numbers[0])));
  }
  return values;
}

class VideoControllerRows : public WmiTest {
 protected:
  void TearDown() override {
    platform::sim::SetCurrentMachine(platform::sim::Machine{});
    WmiTest::TearDown();
  }
};

}  // namespace

TEST_F(VideoControllerRows, OneRowPerDisplayControllerNamedAsTheDeviceTreeNamesIt) {
  // Bus order: onboard 00:02.0 before the card behind the bridge, whose largest memory BAR is not its first.
  Use("two-controllers.ini");
  EXPECT_EQ(DisplayClassIds().size(), 2u);
  EXPECT_EQ(Column(L"PNPDeviceID"), DisplayClassIds());
  for (const wchar_t* property : {L"Description", L"Name", L"Caption", L"VideoProcessor"})
    EXPECT_EQ(Column(property), (Strings{"Intel(R) G41 Express Chipset", "NVIDIA GeForce 210"})) << property;
  EXPECT_EQ(Column(L"DeviceID"), (Strings{"VideoController1", "VideoController2"}));
  EXPECT_EQ(Column(L"AdapterRAM"), (Strings{"2097152", "4194304"}));

  // Without its driver the onboard controller is an unknown device: no row.
  Use("two-controllers.ini", [](auto& text) { text.Sections["pci 00:02.0"]["displaydriver"] = {"false", 1}; });
  EXPECT_EQ(Column(L"PNPDeviceID"), DisplayClassIds());
  EXPECT_EQ(Column(L"DeviceID"), Strings{"VideoController1"});

  // No display controller at all: no row, not a made-up one.
  Use("two-controllers.ini", [](auto& text) {
    text.Sections.erase("pci 00:02.0");
    text.Sections.erase("pci 01:00.0");
  });
  EXPECT_TRUE(Column(L"Name").empty());
}
