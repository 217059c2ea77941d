// The driver client against the simulated driver: records byte for byte, the open sequence in
// each service state, closed-driver results, PCI walks, mappings and their faults, the BIOS.
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "hardware/Devio.h"
#include "hardware/DevioRecords.h"
#include "platform/sim/hardware/driver_log.h"
#include "platform/sim/hardware/hardware.h"
#include "machine_fixture.h"

namespace {

// A display controller at 01:00.0 with 2 MB of video memory and a second one at 02:00.0.
const char* const kTwoDisplays = R"([System]
Wow64=false
[Driver]
Service=running
[Bios]
BoardIdFrom=int15
BoardId=0x1234
[PCI 00:00.0]
Vendor=0x8086
Device=0x29C0
Class=0x060000
[PCI 01:00.0]
Vendor=0x1002
Device=0x5B63
SubsystemVendor=0x1028
Subsystem=0x0D02
Class=0x030000
Revision=0x01
Command=0x0007
Bar0=memory prefetchable 0xE0000000 2M
Bar1=io 0xC000 256
Bar2=memory 0xFEBF0000 64K
Description=Radeon Left
[PCI 02:00.0]
Vendor=0x10DE
Device=0x0A65
SubsystemVendor=0x1458
Subsystem=0x34D4
Class=0x030000
Command=0x0006
Bar1=memory 0xD0000000 1M
Description=GeForce Right
)";

// The driver's log starts empty with each machine.
struct MachineScope : machine_test::MachineScope {
  explicit MachineScope(const std::string& text) : machine_test::MachineScope(text) {
    platform::sim::ClearDriverRequests();
  }
};

std::vector<uint8_t> Bytes(std::initializer_list<int> values) {
  std::vector<uint8_t> out;
  for (int v : values) out.push_back(static_cast<uint8_t>(v));
  return out;
}

const platform::sim::DriverRequest& LastRequest() {
  static platform::sim::DriverRequest none;
  const auto& log = platform::sim::DriverRequests();
  return log.empty() ? none : log.back();
}

}  // namespace

TEST(DevioRecords, EveryRecordIsPackedLittleEndian) {
  auto port = devio::MakePortRequest(0x3DA, 2, 0xBEEF);
  EXPECT_EQ(std::vector<uint8_t>(port.begin(), port.end()),
            Bytes({0xDA, 0x03, 0, 0, 0x02, 0, 0, 0, 0xEF, 0xBE, 0, 0}));
  auto memory = devio::MakeMemoryRequest(0xF000, 0xFFD9, 0x1234);
  EXPECT_EQ(std::vector<uint8_t>(memory.begin(), memory.end()), Bytes({0x00, 0xF0, 0xD9, 0xFF, 0x34, 0x12}));
  auto pci = devio::MakePciRequest(0x11223344, 0x0108, 0x2C);
  EXPECT_EQ(std::vector<uint8_t>(pci.begin(), pci.end()),
            Bytes({0x44, 0x33, 0x22, 0x11, 0x08, 0x01, 0x2C, 0x00, 0x81, 0, 0, 0, 0, 0, 0, 0}));
  auto search = devio::MakePciSearchRequest(0x030000, 0, 0, 3);
  EXPECT_EQ(std::vector<uint8_t>(search.begin(), search.end()),
            Bytes({0x00, 0x00, 0x03, 0x00, 0, 0, 0, 0, 0x03, 0x00, 0, 0, 0x81, 0, 0, 0}));
  auto map = devio::MakeMapRequest(0xE0100000, 0x80000);
  EXPECT_EQ(std::vector<uint8_t>(map.begin(), map.end()),
            Bytes({0x00, 0x00, 0x10, 0xE0, 0x00, 0x00, 0x08, 0x00, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  auto wide = devio::MakeWideMapRequest(0xE0000000, 0, 0x100000);
  std::vector<uint8_t> wideExpected(40, 0);
  wideExpected[3] = 0xE0;
  wideExpected[10] = 0x10;
  EXPECT_EQ(std::vector<uint8_t>(wide.begin(), wide.end()), wideExpected);
}

TEST(Devio, RequestsCarryTheirCodesAndRecords) {
  MachineScope machine(kTwoDisplays);
  CDevio driver;
  ASSERT_TRUE(driver.IsDriverOpen());
  platform::sim::ClearDriverRequests();

  EXPECT_TRUE(driver.WritePortByte(0x3C8, 0x7F));
  EXPECT_EQ(LastRequest().Code, 0x220010u);
  EXPECT_EQ(LastRequest().In, Bytes({0xC8, 0x03, 0, 0, 1, 0, 0, 0, 0x7F, 0, 0, 0}));
  EXPECT_EQ(LastRequest().OutSize, 1u);
  EXPECT_EQ(driver.ReadPortByte(0x3C8), 0x7F);
  EXPECT_EQ(LastRequest().Code, 0x220004u);
  EXPECT_EQ(LastRequest().OutSize, 4u);
  EXPECT_TRUE(driver.WritePortWord(0x80, 0xA55A));
  EXPECT_EQ(LastRequest().In, Bytes({0x80, 0, 0, 0, 2, 0, 0, 0, 0x5A, 0xA5, 0, 0}));
  EXPECT_EQ(LastRequest().OutSize, 0u);
  EXPECT_EQ(driver.ReadPortWord(0x80), 0xA55A);
  driver.WritePortDword(0x84, 0x01020304);
  EXPECT_EQ(LastRequest().Code, 0x220018u);
  EXPECT_EQ(driver.ReadPortDword(0x84), 0x01020304u);

  driver.WriteMemoryWord(0x0040, 0x0010, 0xCAFE);
  EXPECT_EQ(LastRequest().Code, 0x220024u);
  EXPECT_EQ(LastRequest().In, Bytes({0x40, 0x00, 0x10, 0x00, 0xFE, 0xCA}));
  EXPECT_EQ(driver.ReadMemoryWord(0x0040, 0x0010), 0xCAFE);
  EXPECT_EQ(driver.ReadMemoryByte(0x0041, 0x0001), 0xCA);  // the same byte by another segment
  EXPECT_EQ(LastRequest().Code, 0x220020u);

  uint32_t command = 0;
  EXPECT_EQ(driver.PciReadDword(0x0100, 4, command), 0);
  EXPECT_EQ(LastRequest().Code, 0x220048u);
  EXPECT_EQ(LastRequest().In, Bytes({0, 0, 0, 0, 0x00, 0x01, 0x04, 0x00, 0x81, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(command & 0xFFFF, 0x0007u);
  EXPECT_EQ(driver.PciWriteWord(0x0100, 4, 0x12345), 0);
  // Masked to 16 bits: 0x2345.
  EXPECT_EQ(std::vector<uint8_t>(LastRequest().In.begin(), LastRequest().In.begin() + 4), Bytes({0x45, 0x23, 0, 0}));
  uint16_t written = 0;
  driver.PciReadWord(0x0100, 4, written);
  EXPECT_EQ(written, 0x2345);

  EXPECT_TRUE(driver.WriteIndexedByte(0x0E, 0x42));
  EXPECT_EQ(LastRequest().In, Bytes({0x0E, 0x00, 0x42}));
  EXPECT_EQ(driver.ReadIndexedByte(0x0E), 0x42);
  EXPECT_EQ(LastRequest().In, Bytes({0x0E, 0x00, 0x00}));
}

TEST(Devio, ClosedDriverAnswersWithoutAnyRequest) {
  MachineScope machine("[Driver]\nService=unstartable\n");
  CDevio driver;
  EXPECT_FALSE(driver.IsDriverOpen());
  EXPECT_EQ(driver.GetDriverHandle(), platform::InvalidHandleValue);
  platform::sim::ClearDriverRequests();

  EXPECT_EQ(driver.ReadPortByte(0x60), 0);
  EXPECT_EQ(driver.ReadPortWord(0x60), 0);
  EXPECT_EQ(driver.ReadPortDword(0x60), 0u);
  EXPECT_FALSE(driver.WritePortByte(0x60, 1));
  EXPECT_FALSE(driver.WritePortWord(0x60, 1));
  EXPECT_EQ(driver.ReadMemoryWord(0xF000, 0), 0);
  EXPECT_EQ(driver.ReadMemoryByte(0xF000, 0), 0);
  uint16_t address = 0x5555;
  EXPECT_EQ(driver.PciFindDevice(0x1002, 0x5B63, 0, address), 0x81);
  EXPECT_EQ(address, 0);
  EXPECT_EQ(driver.PciFindClassCode(0x030000, 0, address), 0x81);
  uint32_t value = 7;
  EXPECT_EQ(driver.PciReadDword(0x0100, 0, value), 0x81);
  EXPECT_EQ(value, 0u);
  EXPECT_EQ(driver.PciWriteByte(0x0100, 4, 0), 0x81);
  EXPECT_EQ(driver.PciWriteDword(0x0100, 4, 0), 0x81);
  RegisterRecord registers;
  registers.Eax = 0xC000;
  EXPECT_FALSE(driver.CallInt15(registers));
  uint8_t block[devio::Int15BlockSize] = {};
  block[1] = 0x86;
  block[28] = 1;  // carry set: 0x8000 + AH
  EXPECT_EQ(driver.CallInt15Block(block), 0x8086u);
  block[28] = 0;
  EXPECT_EQ(driver.CallInt15Block(block), 0u);
  EXPECT_EQ(driver.ReadIndexedByte(1), 0);
  EXPECT_FALSE(driver.WriteIndexedByte(1, 1));
  MapRequest record;
  EXPECT_EQ(driver.MapPhysicalMemory(0xE0000000, 0x1000, &record), 0u);
  record.MappedAddress = 0x1234;
  EXPECT_EQ(driver.UnmapPhysicalMemory(record), nullptr);
  EXPECT_EQ(record.MappedAddress, 0x1234u);
  EXPECT_EQ(driver.ExchangeValue(1, 2), 0u);
  uint8_t eight[8] = {};
  EXPECT_EQ(driver.ExchangeBlock(devio::ExchangeBlockCode1, eight), -1);
  uint8_t sixteen[16] = {};
  EXPECT_EQ(driver.FixedRead(sixteen), 0u);
  uint8_t copy[8] = {};
  EXPECT_EQ(driver.ReadPhysicalMemory(0xE0000000, 8, copy), 0u);
  EXPECT_TRUE(platform::sim::DriverRequests().empty());

  // The two-word reads are sent all the same, and fail.
  uint32_t first = 0, second = 0;
  EXPECT_NE(driver.TwoWordRead(5, first, second), 0u);
  ASSERT_EQ(platform::sim::DriverRequests().size(), 1u);
  EXPECT_EQ(LastRequest().Code, 0x222498u);
  EXPECT_EQ(LastRequest().In, Bytes({0, 0, 0, 0, 5, 0, 0, 0}));
}

TEST(Devio, OpenSequenceFollowsTheServiceState) {
  struct Case {
    const char* Text;
    bool Opens;
  } cases[] = {
      {"[Driver]\nService=absent\n", true},  // an administrator installs and starts it
      {"[Driver]\nService=stopped\n", true},
      {"[Driver]\nService=running\n", true},
      {"[Driver]\nService=unstartable\n", false},
      {"[System]\nAdministrator=false\n[Driver]\nService=absent\n", false},
      {"[System]\nAdministrator=false\n[Driver]\nService=running\n", true},
      {"[System]\nAdministrator=false\n[Driver]\nService=stopped\n", true},
  };
  for (const Case& c : cases) {
    MachineScope machine(c.Text);
    CDevio driver;
    EXPECT_EQ(driver.IsDriverOpen(), c.Opens) << c.Text;
    EXPECT_EQ(platform::sim::Hardware::Get().Service().Running, c.Opens) << c.Text;
  }
  {
    MachineScope machine("[Driver]\nService=absent\n");
    CDevio other("OtherDrv", "Other", "OtherDev");  // installed, but no driver file to start
    EXPECT_FALSE(other.IsDriverOpen());
    CDevio first;
    CDevio second;  // the device exists now: the install is skipped, the open proceeds
    EXPECT_TRUE(first.IsDriverOpen());
    EXPECT_TRUE(second.IsDriverOpen());
    EXPECT_NE(first.GetDriverHandle(), second.GetDriverHandle());
  }
}

TEST(Devio, AdministratorComesFromTheProcessToken) {
  {
    MachineScope machine("[System]\nAdministrator=true\n");
    EXPECT_TRUE(CDevio::IsAdministrator());
  }
  MachineScope machine("[System]\nAdministrator=false\n");
  EXPECT_FALSE(CDevio::IsAdministrator());
}

TEST(Devio, PciSearchesWalkInAStableOrderAndEnd) {
  MachineScope machine(kTwoDisplays);
  CDevio driver;
  uint16_t address = 0;
  EXPECT_EQ(driver.PciFindClassCode(0x030000, 0, address), 0);
  EXPECT_EQ(address, 0x0100);
  EXPECT_EQ(driver.PciFindClassCode(0x030000, 1, address), 0);
  EXPECT_EQ(address, 0x0200);
  EXPECT_NE(driver.PciFindClassCode(0x030000, 2, address), 0);
  EXPECT_EQ(address, 0);
  EXPECT_EQ(driver.PciFindDevice(0x10DE, 0x0A65, 0, address), 0);
  EXPECT_EQ(address, 0x0200);
  EXPECT_NE(driver.PciFindDevice(0x10DE, 0x0A65, 1, address), 0);

  uint16_t word = 0;
  driver.PciReadWord(0x0100, 0x2C, word);
  EXPECT_EQ(word, 0x1028);
  driver.PciReadWord(0x0100, 0x2E, word);
  EXPECT_EQ(word, 0x0D02);
  uint8_t byte = 0;
  driver.PciReadByte(0x0100, 0x0B, byte);
  EXPECT_EQ(byte, 0x03);
  EXPECT_EQ(driver.PciReadWord(0x0100, 0x101, word), 0x87);  // past the configuration space
  EXPECT_EQ(word, 0);
  uint32_t bar = 0;
  driver.PciReadDword(0x0100, 0x10, bar);
  EXPECT_EQ(bar, 0xE0000008u);
  // Sizing a BAR: all ones in, the size mask back.
  driver.PciWriteDword(0x0100, 0x10, 0xFFFFFFFF);
  driver.PciReadDword(0x0100, 0x10, bar);
  EXPECT_EQ(bar, 0xFFE00008u);
  driver.PciWriteDword(0x0100, 0x10, 0xE0000000);
  driver.PciReadDword(0x0300, 0x00, bar);
  EXPECT_EQ(bar, 0xFFFFFFFFu);  // no device there

  EXPECT_TRUE(driver.PciFindByIds(0x030000, 0x10DE, 0x0A65, 0x1458, 0x34D4, address));
  EXPECT_EQ(address, 0x0200);
  EXPECT_FALSE(driver.PciFindByIds(0x030000, 0x10DE, 0x0A65, 0x34D4, 0x1458, address));
  EXPECT_TRUE(driver.PciFindByName(0x030000, "Right", 0, address));
  EXPECT_EQ(address, 0x0200);
  EXPECT_TRUE(driver.PciFindByName(0x030000, "Radeon", 0, address));
  EXPECT_EQ(address, 0x0100);
  EXPECT_FALSE(driver.PciFindByName(0x030000, "Radeon", 1, address));
  EXPECT_FALSE(driver.PciFindByName(0x030000, "radeon", 0, address));  // exact case
}

TEST(Devio, MappingsAreMemoryOfTheProcessUntilUnmapped) {
  MachineScope machine(kTwoDisplays);
  CDevio driver;
  MapRequest record;
  uintptr_t view = driver.MapPhysicalMemory(0xE0100003, 0x20, &record);
  ASSERT_NE(view, 0u);
  EXPECT_EQ(LastRequest().Code, 0x2200A8u);
  EXPECT_EQ(LastRequest().In.size(), 20u);
  EXPECT_EQ(record.PhysicalAddress, 0xE0100003u);
  EXPECT_EQ(record.Length, 0x20u);
  EXPECT_EQ(record.MappedAddress, view);
  volatile uint8_t* bytes = reinterpret_cast<volatile uint8_t*>(view);
  for (int i = 0; i < 7; ++i) bytes[i] = static_cast<uint8_t>(0x10 + i);

  // Another way to the same physical bytes; not a multiple of four long.
  uint8_t copy[7] = {};
  EXPECT_EQ(driver.ReadPhysicalMemory(0xE0100003, 7, copy), 7u);
  EXPECT_EQ(LastRequest().In.size(), 20u);  // not WOW64: the narrow record
  EXPECT_EQ(std::vector<uint8_t>(copy, copy + 7), Bytes({0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16}));
  const uint8_t source[5] = {0xA0, 0xA1, 0xA2, 0xA3, 0xA4};
  EXPECT_EQ(driver.WritePhysicalMemory(0xE0100004, 5, source), 5u);
  EXPECT_EQ(bytes[1], 0xA0);
  EXPECT_EQ(bytes[5], 0xA4);

  MapRequest kept = record;
  EXPECT_EQ(driver.UnmapPhysicalMemory(record), &record);
  EXPECT_EQ(record.MappedAddress, 0u);
  EXPECT_EQ(record.PhysicalAddress, 0u);
  EXPECT_EQ(driver.UnmapPhysicalMemory(kept), nullptr);  // gone already
  EXPECT_EQ(kept.MappedAddress, view);

  EXPECT_EQ(driver.MapPhysicalMemory(0xE01FFFF0, 0x20), 0u);  // runs past the BAR
  EXPECT_EQ(driver.MapPhysicalMemory(0x90000000, 0x10), 0u);  // nothing there
}

TEST(Devio, Wow64CopiesUseTheWideRecord) {
  MachineScope machine(std::string(kTwoDisplays) + "[Faults]\nUnmapFails=0xE0000000\n");
  platform::sim::Machine m = platform::sim::CurrentMachine();
  m.Wow64 = true;
  platform::sim::SetCurrentMachine(m);
  CDevio driver;
  uint8_t copy[4] = {};
  EXPECT_EQ(driver.ReadPhysicalMemory(0xE0000010, 4, copy), 4u);
  EXPECT_EQ(LastRequest().In.size(), 40u);
  EXPECT_EQ(devio::Get32(&LastRequest().In[8]), 4u);
  // An unmap the driver refuses leaves the record as it was.
  MapRequest record;
  ASSERT_NE(driver.MapPhysicalMemory(0xE0000000, 0x100, &record), 0u);
  MapRequest before = record;
  EXPECT_EQ(driver.UnmapPhysicalMemory(record), nullptr);
  EXPECT_EQ(std::memcmp(&before, &record, sizeof record), 0);
}

TEST(Devio, AnUnmappableRangeRefusesTheMappingsThatReachIt) {
  MachineScope machine(std::string(kTwoDisplays) + "[Faults]\nUnmappable=0xE0180000 4K\n");
  CDevio driver;
  EXPECT_EQ(driver.MapPhysicalMemory(0xE017F000, 0x2000), 0u);
  EXPECT_NE(driver.MapPhysicalMemory(0xE017F000, 0x1000), 0u);
}

TEST(Devio, BiosCallsAndTheSystemBoardId) {
  MachineScope machine(kTwoDisplays);
  CDevio driver;
  RegisterRecord registers;
  registers.Eax = 0x4F00;  // the keyboard intercept leaves EAX alone
  registers.Ecx = 0x77;
  EXPECT_FALSE(driver.CallInt15(registers));
  EXPECT_EQ(registers.Eax, 0x4F00u);
  EXPECT_EQ(registers.Flags, 0u);
  registers.Eax = 0xC000;
  EXPECT_TRUE(driver.CallInt15(registers));
  EXPECT_EQ(registers.Eax, 0x0000u);
  EXPECT_EQ(registers.Segment1, 0xF000);
  EXPECT_EQ(registers.Ecx, 0x77u);
  EXPECT_EQ(LastRequest().Code, 0x220060u);
  EXPECT_EQ(LastRequest().In.size(), 32u);

  uint16_t id = 0;
  EXPECT_TRUE(driver.ReadSystemBoardId(id));
  EXPECT_EQ(id, 0x1234);

  std::string eisa = kTwoDisplays;
  eisa.replace(eisa.find("BoardIdFrom=int15"), 17, "BoardIdFrom=eisa");
  {
    MachineScope other(eisa);
    CDevio board;
    uint16_t eisaId = 0;
    EXPECT_TRUE(board.ReadSystemBoardId(eisaId));
    EXPECT_EQ(eisaId, 0x1234);
  }
  std::string none = kTwoDisplays;
  none.replace(none.find("BoardIdFrom=int15"), 17, "BoardIdFrom=none");
  MachineScope other(none);
  CDevio board;
  uint16_t noId = 0x99;
  EXPECT_FALSE(board.ReadSystemBoardId(noId));
  EXPECT_EQ(noId, 0x99);
}
