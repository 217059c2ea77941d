// The packed little-endian records of the hardware access driver's requests, built byte for
// byte. They are a wire format between the client and the driver.
#pragma once

#include <array>
#include <cstdint>

#include "platform/bytes.h"

namespace devio {

constexpr uint32_t ReadPortByteCode = 0x220004;
constexpr uint32_t ReadPortWordCode = 0x220008;
constexpr uint32_t ReadPortDwordCode = 0x22000C;
constexpr uint32_t WritePortByteCode = 0x220010;
constexpr uint32_t WritePortWordCode = 0x220014;
constexpr uint32_t WritePortDwordCode = 0x220018;
constexpr uint32_t ReadMemoryWordCode = 0x22001C;
constexpr uint32_t ReadMemoryByteCode = 0x220020;
constexpr uint32_t WriteMemoryWordCode = 0x220024;
constexpr uint32_t PciFindDeviceCode = 0x22003C;
constexpr uint32_t PciReadByteCode = 0x220040;
constexpr uint32_t PciReadWordCode = 0x220044;
constexpr uint32_t PciReadDwordCode = 0x220048;
constexpr uint32_t PciWriteByteCode = 0x22004C;
constexpr uint32_t PciWriteWordCode = 0x220050;
constexpr uint32_t PciWriteDwordCode = 0x220054;
constexpr uint32_t PciFindClassCodeCode = 0x220058;
constexpr uint32_t CallInt15Code = 0x220060;
constexpr uint32_t CallInt15PciExCode = 0x220064;
constexpr uint32_t ReadIndexedByteCode = 0x220068;
constexpr uint32_t WriteIndexedByteCode = 0x22006C;
constexpr uint32_t MapPhysicalMemoryCode = 0x2200A8;
constexpr uint32_t ExchangeValueCode = 0x2200B0;
constexpr uint32_t ExchangeBlockCode1 = 0x2200BC;
constexpr uint32_t ExchangeBlockCode2 = 0x2200C0;
constexpr uint32_t ExchangeBufferCode = 0x2200C4;
constexpr uint32_t UnmapPhysicalMemoryCode = 0x2200C8;
constexpr uint32_t FixedReadCode = 0x222460;
constexpr uint32_t FixedReadSelectedCode = 0x222464;
constexpr uint32_t TwoWordReadCode = 0x222498;

// Status preset by the client in PCI records: nothing done yet.
constexpr uint8_t PciStatusUntouched = 0x81;

constexpr uint32_t Int15BlockSize = 288;
constexpr uint32_t Int15PciExSize = 1062;

using platform::Get16;
using platform::Get32;
using platform::Put16;
using platform::Put32;

using PortRequest = std::array<uint8_t, 12>;
using MemoryRequest = std::array<uint8_t, 6>;
using PciRequest = std::array<uint8_t, 16>;
using PciSearchRequest = std::array<uint8_t, 16>;
using MapRequestBytes = std::array<uint8_t, 20>;
using WideMapRequest = std::array<uint8_t, 40>;
using RegisterBytes = std::array<uint8_t, 32>;

inline PortRequest MakePortRequest(uint16_t port, uint32_t width, uint32_t value) {
  PortRequest r{};
  Put32(&r[0], port);
  Put32(&r[4], width);
  Put32(&r[8], value);
  return r;
}

inline MemoryRequest MakeMemoryRequest(uint16_t segment, uint16_t offset, uint16_t value) {
  MemoryRequest r{};
  Put16(&r[0], segment);
  Put16(&r[2], offset);
  Put16(&r[4], value);
  return r;
}

// Bytes 9 to 15 are not set by the client; they stay 0 here.
inline PciRequest MakePciRequest(uint32_t data, uint16_t address, uint16_t reg) {
  PciRequest r{};
  Put32(&r[0], data);
  Put16(&r[4], address);
  Put16(&r[6], reg);
  r[8] = PciStatusUntouched;
  return r;
}

inline PciSearchRequest MakePciSearchRequest(uint32_t classCode, uint16_t first, uint16_t second, uint16_t index) {
  PciSearchRequest r{};
  Put32(&r[0], classCode);
  Put16(&r[4], first);
  Put16(&r[6], second);
  Put16(&r[8], index);
  Put16(&r[10], 0);
  r[12] = PciStatusUntouched;
  return r;
}

inline MapRequestBytes MakeMapRequest(uint32_t address, uint32_t length) {
  MapRequestBytes r{};
  Put32(&r[0], address);
  Put32(&r[4], length);
  return r;
}

inline WideMapRequest MakeWideMapRequest(uint32_t addressLow, uint32_t addressHigh, uint32_t length) {
  WideMapRequest r{};
  Put32(&r[0], addressLow);
  Put32(&r[4], addressHigh);
  Put32(&r[8], length);
  return r;
}

}  // namespace devio
