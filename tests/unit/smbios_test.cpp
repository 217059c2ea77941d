#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "framework/KestException.h"
#include "hardware/SMBIOSDiscovery.h"
#include "platform/sim/management/smbios_model.h"

namespace {

using Bytes = std::vector<uint8_t>;

// One structure: type, length and handle, then `body` (from offset 4), then the strings.
Bytes Struct(uint8_t type, Bytes body, const std::vector<std::string>& strings) {
  Bytes out = std::move(body);
  out.insert(out.begin(), {type, static_cast<uint8_t>(out.size() + 4), 0x34, 0x12});
  for (const auto& s : strings) {
    out.insert(out.end(), s.begin(), s.end());
    out.push_back(0);
  }
  if (strings.empty()) out.push_back(0);
  out.push_back(0);
  return out;
}

Bytes Join(const std::vector<Bytes>& parts) {
  Bytes out;
  for (const auto& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

// A body of `length` - 4 zero bytes with some bytes set: {offset, value}.
Bytes Body(size_t length, const std::vector<std::pair<size_t, uint8_t>>& set) {
  Bytes body(length - 4, 0);
  for (const auto& [offset, value] : set)
    if (offset < length) body[offset - 4] = value;
  return body;
}

SMBIOSDiscovery Decode(const Bytes& table) { return SMBIOSDiscovery(table.data(), table.size()); }

const Bytes kEnd = Struct(127, {}, {});

Bytes Baseboard(const std::string& product) { return Struct(2, Body(15, {{4, 1}, {5, 2}, {7, 3}}), {"Maker", product, "SER-1"}); }

}  // namespace

TEST(SmbiosDecode, GeneratedDefaultTableReadsBack) {
  const auto firmware = platform::sim::DefaultSmbiosDescription();
  const SMBIOSDiscovery s = Decode(platform::sim::BuildSmbiosTable(firmware));
  EXPECT_EQ(s.GetSystemId(), "07A1");
  EXPECT_EQ(s.GetBoardSerial(), firmware.BoardSerial);
  EXPECT_EQ(s.GetBios().vendor, firmware.BiosVendor);
  EXPECT_EQ(s.GetBios().version, firmware.BiosVersion);
  EXPECT_EQ(s.GetBios().releaseDate, firmware.BiosDate);
  EXPECT_EQ(s.GetBios().characteristics, 0x4BF99880);
  EXPECT_EQ(s.GetSystem().manufacturer, firmware.Manufacturer);
  EXPECT_EQ(s.GetSystem().product, firmware.Product);
  EXPECT_EQ(s.GetSystem().sku, firmware.Sku);
  EXPECT_EQ(s.GetSystem().family, firmware.Family);
  EXPECT_EQ(s.GetSystem().uuid, "4C4C4544-0052-4A10-8039-B5C04F323931");
  EXPECT_EQ(s.GetChassisType(), 3);
  EXPECT_EQ(s.GetOemByte(), 0x20);  // no OEM structure
  ASSERT_EQ(s.GetProcessorCount(), 1u);
  EXPECT_EQ(s.GetPopulatedSockets(), 1u);
  const ProcessorInfo& cpu = s.GetProcessor(0);
  EXPECT_EQ(cpu.coreCount, 4);
  EXPECT_EQ(cpu.family, 0xCEu);
  EXPECT_EQ(cpu.processorId, "000306A9");
  EXPECT_EQ(cpu.version, firmware.Processors[0].Version);
  EXPECT_EQ(cpu.maxSpeed, 3900);
  EXPECT_EQ(cpu.currentSpeed, 3400);
  EXPECT_EQ(cpu.externalClock, 100);
  EXPECT_EQ(cpu.model, 40u);  // model 0xA plus ten times extended model 3, from the running processor
  ASSERT_EQ(s.GetMemoryDeviceCount(), 3u);
  EXPECT_EQ(s.GetMemoryDevice(0).size, "4096");
  EXPECT_EQ(s.GetMemoryDevice(0).type, "DDR3");
  EXPECT_EQ(s.GetMemoryDevice(0).speed, 1600);
  EXPECT_EQ(s.GetMemoryDevice(0).partNumber, "RM3-1600-4G");
  EXPECT_EQ(s.GetMemoryDevice(2).size, "Not Installed");
  EXPECT_EQ(s.GetMemoryDevice(2).manufacturer, "Unknown");
  EXPECT_EQ(s.GetErrorCorrectionTypes(), std::vector<std::string>{"None"});
  EXPECT_EQ(s.GetArrayDeviceCounts(), std::vector<uint32_t>{3});
  EXPECT_EQ(s.GetLevel1Caches(), std::vector<std::string>{"256"});
  EXPECT_EQ(s.GetLevel2Caches(), std::vector<std::string>{"1024"});
  EXPECT_EQ(s.GetLevel3Caches(), std::vector<std::string>{"8192"});
}

TEST(SmbiosDecode, StringAreasAndStructureEnds) {
  const Bytes table = Join({
      // No strings: the double zero ends it and the walk goes on behind it.
      Struct(3, Body(9, {{5, 0x83}}), {}),
      // Blanks take a number but read empty; a number beyond those present reads empty.
      Struct(1, Body(27, {{4, 1}, {5, 2}, {6, 3}, {7, 9}}), {"Maker", "   ", "V1"}),
      Baseboard("12"),
      kEnd,
      // Behind the end-of-table structure the walk still goes to the buffer's end.
      Struct(208, Body(5, {{4, 0x77}}), {}),
  });
  const SMBIOSDiscovery s = Decode(table);
  EXPECT_EQ(s.GetChassisType(), 3);  // top bit dropped
  EXPECT_EQ(s.GetSystem().manufacturer, "Maker");
  EXPECT_EQ(s.GetSystem().product, "");
  EXPECT_EQ(s.GetSystem().version, "V1");
  EXPECT_EQ(s.GetSystem().serialNumber, "");
  EXPECT_EQ(s.GetSystemId(), "12");  // shorter product taken whole
  EXPECT_EQ(s.GetOemByte(), 0x77);

  // A lone zero followed by a non-zero byte ends the structure; the next begins at that byte.
  Bytes lone = {3, 9, 0, 0, 0, 0x05, 0, 0, 0, 0};
  const Bytes board = Baseboard("ABCDEF");
  lone.insert(lone.end(), board.begin(), board.end());
  const SMBIOSDiscovery t = Decode(lone);
  EXPECT_EQ(t.GetChassisType(), 5);
  EXPECT_EQ(t.GetSystemId(), "ABCD");
  EXPECT_EQ(Decode(Join({kEnd})).GetSystemId(), "");  // no baseboard, no identifier
}

TEST(SmbiosDecode, FieldTables) {
  auto cache = [](uint8_t level, uint16_t size) {
    return Struct(7, Body(19, {{5, static_cast<uint8_t>(0x80 | (level - 1))}, {9, static_cast<uint8_t>(size)},
                               {10, static_cast<uint8_t>(size >> 8)}}), {});
  };
  auto array = [](uint8_t correction, uint16_t devices) {
    return Struct(16, Body(15, {{6, correction}, {13, static_cast<uint8_t>(devices)}, {14, static_cast<uint8_t>(devices >> 8)}}), {});
  };
  // Memory device: size word, type byte, locator string 1, manufacturer 2, part 3.
  auto memory = [](uint16_t size, uint8_t type, size_t length, const std::vector<std::string>& strings) {
    return Struct(17, Body(length, {{12, static_cast<uint8_t>(size)}, {13, static_cast<uint8_t>(size >> 8)},
                                    {16, 1}, {18, type}, {19, 0x80}, {21, 0x40}, {22, 0x06}, {23, 2}, {26, 3}}),
                  strings);
  };
  const Bytes table = Join({
      cache(1, 0x0010), cache(2, 0x8010), cache(3, 0x0000), cache(4, 0x0100),
      array(5, 4), array(9, 0x1234),
      memory(0x8000 | 2048, 26, 0x22, {"DIMM0", "Acme", "P-1"}),
      memory(0xFFFF, 0x18, 0x22, {"DIMM1", " ", "  "}),  // blanks read as missing
      memory(512, 9, 0x22, {"ROM", "Flashy", "F"}),   // flash: overwritten by the next device
      memory(0, 0x12, 21, {"   "}),                    // too short for a speed
      Struct(0, Body(24, {{4, 1}, {5, 2}, {8, 3}, {9, 4}, {10, 0x00}, {11, 0x00}, {12, 0x00}, {13, 0x80}, {14, 0xFF}}),
             {"Vendor", "Ver", "01/02/2003", "RomText"}),
      kEnd,
  });
  const SMBIOSDiscovery s = Decode(table);
  EXPECT_EQ(s.GetLevel1Caches(), std::vector<std::string>{"16"});
  EXPECT_EQ(s.GetLevel2Caches(), std::vector<std::string>{"1024"});
  EXPECT_EQ(s.GetLevel3Caches(), std::vector<std::string>{"NotInstalled"});
  EXPECT_EQ(s.GetErrorCorrectionTypes(), (std::vector<std::string>{"Single-bit ECC", "Undetermined"}));
  EXPECT_EQ(s.GetArrayDeviceCounts(), (std::vector<uint32_t>{4, 0x1234}));
  ASSERT_EQ(s.GetMemoryDeviceCount(), 3u);
  EXPECT_EQ(s.GetMemoryDevice(0).size, "2048");
  EXPECT_EQ(s.GetMemoryDevice(0).type, "Undetermined");
  EXPECT_EQ(s.GetMemoryDevice(0).speed, 1600);
  EXPECT_EQ(s.GetMemoryDevice(0).typeDetail, 0x80);
  EXPECT_EQ(s.GetMemoryDevice(0).manufacturer, "Acme");
  EXPECT_EQ(s.GetMemoryDevice(1).size, "Unknown");
  EXPECT_EQ(s.GetMemoryDevice(1).type, "DDR3");
  EXPECT_EQ(s.GetMemoryDevice(1).manufacturer, "Unknown");
  EXPECT_EQ(s.GetMemoryDevice(1).partNumber, "Unknown");
  EXPECT_EQ(s.GetMemoryDevice(2).size, "Not Installed");
  EXPECT_EQ(s.GetMemoryDevice(2).type, "DDR");
  EXPECT_EQ(s.GetMemoryDevice(2).locator, "Unknown");
  EXPECT_EQ(s.GetMemoryDevice(2).speed, 0);
  EXPECT_EQ(s.GetBios().vendor, "Vendor");
  EXPECT_EQ(s.GetBios().romSize, "RomText");
  EXPECT_EQ(s.GetBios().characteristics, INT64_C(-2147483648));  // the low word, sign-extended
}

TEST(SmbiosDecode, ProcessorsAreCountedAndCapped) {
  std::vector<Bytes> parts;
  for (int i = 0; i < 12; ++i)
    parts.push_back(Struct(4, Body(0x2A, {{6, 0xB3}, {7, 1}, {8, 0x57}, {9, 0x06}, {10, 0x05}, {16, 2},
                                          {24, static_cast<uint8_t>(i % 2 ? 0x41 : 0x01)}, {35, 8}}),
                           {"Maker", "Model " + std::to_string(i)}));
  const SMBIOSDiscovery s = Decode(Join(parts));
  ASSERT_EQ(s.GetProcessorCount(), SMBIOSDiscovery::MaxProcessors);
  EXPECT_EQ(s.GetProcessor(9).version, "Model 9");
  EXPECT_EQ(s.GetProcessor(0).processorId, "00050657");
  EXPECT_EQ(s.GetProcessor(0).coreCount, 8);
  EXPECT_EQ(s.GetPopulatedSockets(), 5u);
}

TEST(SmbiosDecode, UntrustedBytesStayInBounds) {
  const Bytes board = Baseboard("4321");
  // Length byte past the buffer: the structure is not decoded and the walk ends.
  Bytes pastEnd = board;
  pastEnd.insert(pastEnd.end(), {2, 0xF0, 0, 0, 1, 2});
  EXPECT_EQ(Decode(pastEnd).GetSystemId(), "4321");
  // No closing double zero: the strings run to the buffer's end and are cut there.
  Bytes open = {2, 15, 0, 0, 1, 2, 0, 3, 0, 0, 0, 0, 0, 0, 0, 'M', 0, '9', '8', '7', '6', '5'};
  EXPECT_EQ(Decode(open).GetSystemId(), "9876");
  EXPECT_EQ(Decode(open).GetBoardSerial(), "");
  // Truncated inside the formatted area, and headers too short to move on from.
  for (size_t cut = 0; cut < board.size(); ++cut) {
    Bytes part = Join({Struct(3, Body(9, {{5, 4}}), {}), Bytes(board.begin(), board.begin() + static_cast<long>(cut))});
    const SMBIOSDiscovery s = Decode(part);
    EXPECT_EQ(s.GetChassisType(), 4);
    EXPECT_TRUE(s.GetSystemId().empty() || s.GetSystemId() == std::string("4321").substr(0, s.GetSystemId().size()));
  }
  EXPECT_EQ(Decode(Bytes{2, 0, 0, 0, 2, 3, 0, 0}).GetSystemId(), "");
  EXPECT_EQ(Decode(Bytes(64, 0)).GetProcessorCount(), 0u);
  // More than 255 strings: the numbering stops, the structure still ends where it should.
  std::vector<std::string> many(300, "s");
  many[1] = "LongProduct";
  Bytes crowded = Struct(2, Body(15, {{5, 2}, {7, 255}}), many);
  crowded.insert(crowded.end(), {3, 9, 0, 0, 0, 6, 0, 0, 0, 0, 0});
  const SMBIOSDiscovery c = Decode(crowded);
  EXPECT_EQ(c.GetSystemId(), "Long");
  EXPECT_EQ(c.GetBoardSerial(), "s");
  EXPECT_EQ(c.GetChassisType(), 6);
  // Memory devices beyond the table's room are dropped.
  std::vector<Bytes> devices(120, Struct(17, Body(0x22, {{12, 1}, {18, 3}}), {}));
  EXPECT_EQ(Decode(Join(devices)).GetMemoryDeviceCount(), SMBIOSDiscovery::MaxMemoryDevices);
  EXPECT_EQ(Decode(Bytes{}).GetSystemId(), "");
}
