// Device enumeration over the simulated device tree: lists, properties, resources, the tree
// walk, enable and disable, the searches; and the machine file's hardware sections.
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "hardware/SetupDI.h"
#include "machine_fixture.h"

using machine_test::Build;
using machine_test::MachineScope;
using platform::sim::Machine;

namespace {

const char* const kMachine = R"([PCI 00:00.0]
Vendor=0x8086
Device=0x29C0
Class=0x060000
Description=Host bridge
[PCI 00:01.0]
Vendor=0x8086
Device=0x29C1
Class=0x060400
SecondaryBus=1
Description=Root port
[PCI 01:00.0]
Vendor=0x1002
Device=0x5B63
SubsystemVendor=0xABCD
Subsystem=0x1234
Class=0x030000
Revision=0x02
Bar0=memory prefetchable 0xE0000000 4M
Bar1=io 0xC000 256
Bar2=memory 0xFEBF0000 64K
Description=Radeon X550
Slot=3
[PCI 00:02.0]
Vendor=0x8086
Device=0x2E32
Class=0x030000
Bar2=memory prefetchable 0xD0000000 2M
Description=Onboard graphics
Resources=boot
[PCI 00:1F.2]
Vendor=0x8086
Device=0x27C0
Class=0x01018F
Resources=none
Bar4=io 0xFEA0 16
Description=SATA controller
)";

std::vector<std::string> MultiString(const uint8_t* bytes, uint32_t size) {
  std::vector<std::string> out;
  for (uint32_t at = 0; at < size && bytes[at];) {
    out.emplace_back(reinterpret_cast<const char*>(bytes + at));
    at += static_cast<uint32_t>(out.back().size()) + 1;
  }
  return out;
}

std::string Text(SetupDI& devices, uint32_t property) {
  uint8_t buffer[1024] = {};
  return devices.GetProperty(property, buffer, sizeof buffer - 1) ? reinterpret_cast<const char*>(buffer) : "<none>";
}

}  // namespace

TEST(SetupDI, DisplayClassListDescribesEachController) {
  MachineScope machine(kMachine);
  SetupDI devices;
  ASSERT_TRUE(devices.OpenDeviceList(nullptr, platform::DigcfPresent | platform::DigcfProfile, &platform::DisplayClassGuid));
  ASSERT_TRUE(devices.NextDevice());
  EXPECT_EQ(Text(devices, platform::SpdrpDeviceDesc), "Onboard graphics");  // 00:02.0 comes first
  ASSERT_TRUE(devices.NextDevice());
  EXPECT_EQ(Text(devices, platform::SpdrpDeviceDesc), "Radeon X550");
  uint8_t buffer[1024] = {};
  uint32_t size = devices.GetProperty(platform::SpdrpHardwareId, buffer, sizeof buffer);
  EXPECT_EQ(MultiString(buffer, size),
            (std::vector<std::string>{"PCI\\VEN_1002&DEV_5B63&SUBSYS_1234ABCD&REV_02", "PCI\\VEN_1002&DEV_5B63&SUBSYS_1234ABCD",
                                      "PCI\\VEN_1002&DEV_5B63&CC_030000", "PCI\\VEN_1002&DEV_5B63&CC_0300"}));
  EXPECT_EQ(buffer[size - 1], 0);
  EXPECT_EQ(buffer[size - 2], 0);
  uint32_t slot = 0;
  EXPECT_EQ(devices.GetWordProperty(platform::SpdrpUiNumber, reinterpret_cast<uint8_t*>(&slot), 4), 4u);
  EXPECT_EQ(slot, 3u);
  EXPECT_EQ(devices.GetDeviceId().rfind("PCI\\VEN_1002&DEV_5B63&SUBSYS_1234ABCD&REV_02\\4&", 0), 0u);
  EXPECT_EQ(devices.GetDeviceId().substr(devices.GetDeviceId().size() - 3), "&00");
  // A property that is too big for the buffer is not read.
  EXPECT_EQ(devices.GetProperty(platform::SpdrpHardwareId, buffer, 10), 0u);
  EXPECT_FALSE(devices.NextDevice());

  SetupDI all;
  ASSERT_TRUE(all.OpenDeviceList("PCI", platform::DigcfPresent | platform::DigcfAllClasses, nullptr));
  int count = 0;
  while (all.NextDevice()) ++count;
  EXPECT_EQ(count, 5);
}

TEST(SetupDI, ResourcesComeOneTypeAtATimeWithFallbacks) {
  MachineScope machine(kMachine);
  SetupDI devices;
  EXPECT_EQ(devices.NextResource(platform::ResTypeMem), nullptr);  // before the first device
  ASSERT_TRUE(devices.OpenDeviceList(nullptr, platform::DigcfPresent | platform::DigcfProfile, &platform::DisplayClassGuid));
  ASSERT_TRUE(devices.NextDevice());
  // The onboard controller has only a boot configuration.
  const auto* boot = static_cast<const platform::MemDes*>(devices.NextResource(platform::ResTypeMem));
  ASSERT_NE(boot, nullptr);
  EXPECT_EQ(boot->AllocBase, 0xD0000000u);
  EXPECT_EQ(devices.NextResource(platform::ResTypeMem), nullptr);
  ASSERT_TRUE(devices.NextDevice());
  const auto* first = static_cast<const platform::MemDes*>(devices.NextResource(platform::ResTypeMem));
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->AllocBase, 0xE0000000u);
  EXPECT_EQ(first->Flags, platform::FmdRam | platform::Fmd32 | platform::FmdPrefetchable);
  const auto* second = static_cast<const platform::MemDes*>(devices.NextResource(platform::ResTypeMem));
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(second->AllocBase, 0xFEBF0000u);
  EXPECT_EQ(second->Flags, platform::FmdRam | platform::Fmd32);
  EXPECT_EQ(devices.NextResource(platform::ResTypeMem), nullptr);
  const auto* io = static_cast<const platform::IoDes*>(devices.NextResource(platform::ResTypeIo));
  ASSERT_NE(io, nullptr);
  EXPECT_EQ(io->AllocBase, 0xC000u);
  EXPECT_EQ(io->AllocEnd, 0xC0FFu);
  EXPECT_EQ(io->Flags, platform::FiodIo);
  devices.ReleaseResources();
  // After a release the walk starts again from the first resource.
  first = static_cast<const platform::MemDes*>(devices.NextResource(platform::ResTypeMem));
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->AllocBase, 0xE0000000u);

  SetupDI sata;
  ASSERT_TRUE(sata.OpenDeviceList("PCI", platform::DigcfPresent | platform::DigcfAllClasses, nullptr));
  while (sata.NextDevice() && Text(sata, platform::SpdrpDeviceDesc) != "SATA controller") {
  }
  EXPECT_EQ(sata.NextResource(platform::ResTypeIo), nullptr);  // neither configuration
}

TEST(SetupDI, TreeWalkEnableDisableAndStatus) {
  MachineScope machine(kMachine);
  SetupDI root("");
  SetupDI child;
  ASSERT_EQ(root.GetNextChild(child), 1u);
  SetupDI bus;
  bus.SetDevNode(child.GetDevNode());
  std::vector<platform::DevInst> children;
  SetupDI each;
  while (bus.GetNextChild(each)) children.push_back(each.GetDevNode());
  EXPECT_EQ(children.size(), 4u);  // bus 0: host bridge, root port, onboard graphics, SATA

  SetupDI radeon;
  SetupDI finder;
  std::string id = finder.FindInstanceId(&platform::DisplayClassGuid, platform::DigcfPresent, 0, "DEV_5B63", nullptr, nullptr);
  ASSERT_EQ(id.find("PCI\\VEN_1002&DEV_5B63"), 0u);
  ASSERT_NE(radeon.SetDeviceId(id.c_str()), 0u);
  SetupDI parent;
  ASSERT_EQ(radeon.GetParent(parent), 1);
  EXPECT_EQ(parent.GetDeviceId().find("PCI\\VEN_8086&DEV_29C1"), 0u);  // behind the root port
  SetupDI none;
  none.SetDevNode(12345);
  EXPECT_EQ(radeon.GetNextChild(none), 0u);  // no children
  EXPECT_EQ(none.GetDevNode(), 12345u);

  uint32_t status = 0;
  EXPECT_EQ(radeon.GetStatus(status), platform::CrSuccess);
  EXPECT_NE(status & platform::DnStarted, 0u);
  EXPECT_TRUE(finder.IsDeviceEnabled(id, &platform::DisplayClassGuid));
  EXPECT_EQ(radeon.Disable(), platform::CrSuccess);
  radeon.GetStatus(status);
  EXPECT_EQ(status & platform::DnStarted, 0u);
  EXPECT_FALSE(finder.IsDeviceEnabled(id, &platform::DisplayClassGuid));
  EXPECT_EQ(radeon.Enable(), platform::CrSuccess);
  EXPECT_TRUE(finder.IsDeviceEnabled(id, &platform::DisplayClassGuid));
  EXPECT_FALSE(finder.IsDeviceEnabled(id + "X", &platform::DisplayClassGuid));
}

TEST(SetupDI, SearchesByIdentifierDescriptionAndPosition) {
  MachineScope machine(kMachine);
  SetupDI devices;
  std::string description = "unchanged";
  // The subsystem part is written subsystem id first: SUBSYS_1234ABCD.
  EXPECT_TRUE(devices.FindDescription(0x1002, 0x5B63, 0xABCD, 0x1234, description));
  EXPECT_EQ(description, "Radeon X550");
  description = "unchanged";
  EXPECT_FALSE(devices.FindDescription(0x1002, 0x5B63, 0x1234, 0xABCD, description));
  EXPECT_EQ(description, "unchanged");

  const platform::Guid* display = &platform::DisplayClassGuid;
  EXPECT_EQ(devices.FindInstanceId(display, platform::DigcfPresent, 0, nullptr, "X550", nullptr).find("DEV_5B63"), 13u);
  EXPECT_EQ(devices.FindInstanceId(display, platform::DigcfPresent, 1, nullptr, nullptr, nullptr).find("DEV_5B63"), 13u);
  EXPECT_EQ(devices.FindInstanceId(display, platform::DigcfPresent, 0, nullptr, nullptr, nullptr).find("DEV_2E32"), 13u);
  testing::internal::CaptureStdout();
  EXPECT_EQ(devices.FindInstanceId(display, platform::DigcfPresent, 0, "DEV_FFFF", nullptr, nullptr),
            "Instance ID could Not be Found");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "LogMessage 14 8 \"DEV_FFFF not found in device list\" \"\"\n");
  platform::Guid nothing{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
  EXPECT_EQ(devices.FindInstanceId(&nothing, platform::DigcfPresent, 0, "x", nullptr, nullptr),
            "no devices found in device list");

  EXPECT_EQ(devices.GetInterfacePath("PCI", &platform::DisplayAdapterInterfaceGuid)
                .rfind("\\\\?\\pci#ven_8086&dev_2e32&subsys_00000000&rev_00#3&", 0),
            0u);
}

TEST(MachineFile, HardwareSectionsAreCheckedStrictly) {
  struct Case {
    const char* Text;
    const char* Error;
  } cases[] = {
      {"[PCI 01:00.0]\nVendor=0x1002\nColour=red\n", "unknown key 'colour' in [pci 01:00.0]"},
      {"[PCI 01:20.0]\nVendor=0x1002\n", "unknown section [pci 01:20.0]"},
      {"[PCI 01:00.0]\nVendor=0x1002\nBar0=memory 0xE0100000 2M\n", "bad value 'memory 0xE0100000 2M'"},
      {"[PCI 01:00.0]\nVendor=0x1002\nBar6=io 0xC000 16\n", "unknown key 'bar6'"},
      {"[PCI 01:00.0]\nDevice=0x1002\n", "[PCI 01:00.0] needs a Vendor"},
      {"[PCI 01:00.0]\nVendor=1\nBar0=memory 0xE0000000 4M\n[PCI 02:00.0]\nVendor=1\nBar0=memory 0xE0200000 1M\n",
       "overlaps"},
      {"[PCI 01:00.0]\nVendor=1\nBar0=memory 0xFF000000 16M\n[PCI 02:00.0]\nVendor=1\nBar0=memory 0xFFF00000 1M\n",
       "overlaps"},
      {"[PCI 01:00.0]\nVendor=1\nBar0=io 0xFFFFFF00 256\n", "bad value"},
      {"[Faults]\nStuckBit=0xE0000000 3 1\n", "outside every memory range"},
      {"[Faults]\nStuckBit=0xE0000000 8 1\n", "bad value"},
      {"[Faults]\nFlakyBits=0xE0000000 1 1\n", "unknown key 'flakybits' in [faults]"},
      {"[Driver]\nService=sleeping\n", "bad value 'sleeping' for 'service'"},
      {"[Events]\nKillFileAtMap=0 .\\kill.ctl\n", "bad value"},
  };
  for (const Case& c : cases) {
    Machine machine;
    std::string error;
    EXPECT_FALSE(Build(c.Text, machine, error)) << c.Text;
    EXPECT_NE(error.find(c.Error), std::string::npos) << c.Text << " gave: " << error;
  }
  Machine machine;
  std::string error;
  ASSERT_TRUE(Build("[PCI 1:0.0]\nVendor=0x10de\nBar1=memory prefetchable 0xe0000000 16m\nBar5=io 0xdc00 128\n"
                    "[Faults]\nStuckBit=0xE0000010 0 1\nStuckBit2=0xE0000010 1 0\nUnmapFails=0xE0000000\n",
                    machine, error))
      << error;
  ASSERT_EQ(machine.PciDevices.size(), 1u);
  EXPECT_EQ(machine.PciDevices[0].Address(), 0x0100);
  EXPECT_EQ(machine.PciDevices[0].Bars[1].Size, 16u << 20);
  EXPECT_TRUE(machine.PciDevices[0].Bars[1].Prefetchable);
  EXPECT_EQ(machine.Faults.size(), 3u);
}
