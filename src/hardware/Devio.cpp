#include "hardware/Devio.h"

#include <cstring>
#include <stdexcept>

#include "hardware/DevioRecords.h"
#include "hardware/SetupDI.h"
#include "platform/driver.h"
#include "platform/security.h"
#include "platform/system.h"

using namespace devio;

namespace {

// Closes a service control handle when the open sequence leaves, however it leaves.
struct ServiceHandleGuard {
  platform::ServiceHandle Handle = 0;
  ~ServiceHandleGuard() {
    if (Handle) platform::CloseServiceHandle(Handle);
  }
};

}  // namespace

CDevio::CDevio() { Open(); }

CDevio::CDevio(const std::string& service, const std::string& display, const std::string& deviceText)
    : serviceName(service), displayName(display), deviceName(deviceText) {
  Open();
}

CDevio::~CDevio() {
  if (device != platform::InvalidHandleValue) platform::CloseHandle(device);
  device = platform::InvalidHandleValue;
}

void CDevio::Open() {
  device = platform::InvalidHandleValue;
  InstallDriver();
  try {
    OpenDriver();
  } catch (...) {
    // The caller asks IsDriverOpen; nothing is shown.
    device = platform::InvalidHandleValue;
  }
}

bool CDevio::InstallDriver() {
  if (!IsAdministrator()) return false;
  char target[256];
  if (platform::QueryDosDeviceA(deviceName, target, sizeof target) != 0) return true;
  ServiceHandleGuard manager{platform::OpenSCManagerA(nullptr, nullptr, platform::ScManagerAllAccess)};
  if (!manager.Handle) return false;
  const std::string path = "system32\\drivers\\" + serviceName + ".sys";
  // A service that exists already is no fault.
  ServiceHandleGuard service{platform::CreateServiceA(manager.Handle, serviceName, displayName,
                                                      platform::ServiceAllAccess, platform::ServiceKernelDriver,
                                                      platform::ServiceDemandStart, platform::ServiceErrorNormal, path)};
  return service.Handle != 0;
}

bool CDevio::OpenDriver() {
  ServiceHandleGuard manager{platform::OpenSCManagerA(nullptr, nullptr, platform::ScManagerAllAccess)};
  if (!manager.Handle) throw std::runtime_error("OpenSCManager failed");
  ServiceHandleGuard service{platform::OpenServiceA(manager.Handle, serviceName, platform::ServiceAllAccess)};
  if (!service.Handle) throw std::runtime_error("Unable to open service from SCM database");
  platform::ServiceStatus status;
  if (!platform::QueryServiceStatus(service.Handle, status)) throw std::runtime_error("QueryServiceStatus failed");
  if (status.CurrentState != platform::ServiceRunning && !platform::StartServiceA(service.Handle))
    throw std::runtime_error("StartService failed");
  platform::Handle handle =
      platform::CreateFileA("\\\\.\\" + deviceName, platform::GenericRead | platform::GenericWrite,
                            platform::FileShareRead, platform::OpenExisting, 0);
  if (handle == platform::InvalidHandleValue)
    throw std::runtime_error("CreateFile : Handle for driver could not be created");
  device = handle;
  return true;
}

bool CDevio::IsAdministrator() {
  platform::Handle token = 0;
  if (!platform::OpenThreadToken(platform::TokenQuery, true, token)) {
    if (platform::GetLastError() != platform::ErrorNoToken) return false;
    if (!platform::OpenProcessToken(platform::TokenQuery, token)) return false;
  }
  std::vector<platform::Sid> groups;
  bool read = platform::GetTokenGroups(token, 1024, groups);
  platform::CloseHandle(token);
  if (!read) return false;
  const uint32_t subAuthorities[2] = {platform::SecurityBuiltinDomainRid, platform::DomainAliasRidAdmins};
  platform::Sid administrators;
  if (!platform::AllocateAndInitializeSid(platform::SecurityNtAuthority, 2, subAuthorities, administrators)) return false;
  bool member = false;
  for (const platform::Sid& group : groups) {
    if (platform::EqualSid(group, administrators)) {
      member = true;
      break;
    }
  }
  platform::FreeSid(administrators);
  return member;
}

bool CDevio::Request(uint32_t code, const void* in, uint32_t inSize, void* out, uint32_t outSize) {
  uint32_t returned = 0;
  return platform::DeviceIoControl(device, code, in, inSize, out, outSize, &returned);
}

uint8_t CDevio::ReadPortByte(uint16_t port) {
  if (!IsDriverOpen()) return 0;
  PortRequest request = MakePortRequest(port, 1, 0);
  uint8_t answer[4] = {};
  Request(ReadPortByteCode, request.data(), 12, answer, 4);
  return answer[0];
}

uint16_t CDevio::ReadPortWord(uint16_t port) {
  if (!IsDriverOpen()) return 0;
  PortRequest request = MakePortRequest(port, 2, 0);
  uint8_t answer[4] = {};
  Request(ReadPortWordCode, request.data(), 12, answer, 4);
  return Get16(answer);
}

uint32_t CDevio::ReadPortDword(uint16_t port) {
  if (!IsDriverOpen()) return 0;
  PortRequest request = MakePortRequest(port, 4, 0);
  uint8_t answer[4] = {};
  Request(ReadPortDwordCode, request.data(), 12, answer, 4);
  return Get32(answer);
}

bool CDevio::WritePortByte(uint16_t port, uint8_t value) {
  if (!IsDriverOpen()) return false;
  PortRequest request = MakePortRequest(port, 1, value & 0xFFu);
  uint8_t ignored = 0;
  return Request(WritePortByteCode, request.data(), 12, &ignored, 1);
}

bool CDevio::WritePortWord(uint16_t port, uint16_t value) {
  if (!IsDriverOpen()) return false;
  PortRequest request = MakePortRequest(port, 2, value & 0xFFFFu);
  return Request(WritePortWordCode, request.data(), 12, nullptr, 0);
}

void CDevio::WritePortDword(uint16_t port, uint32_t value) {
  if (!IsDriverOpen()) return;
  PortRequest request = MakePortRequest(port, 4, value);
  Request(WritePortDwordCode, request.data(), 12, nullptr, 0);
}

uint16_t CDevio::ReadMemoryWord(uint16_t segment, uint16_t offset) {
  if (!IsDriverOpen()) return 0;
  MemoryRequest request = MakeMemoryRequest(segment, offset, 0);
  uint8_t answer[2] = {};
  Request(ReadMemoryWordCode, request.data(), 6, answer, 2);
  return Get16(answer);
}

uint8_t CDevio::ReadMemoryByte(uint16_t segment, uint16_t offset) {
  if (!IsDriverOpen()) return 0;
  MemoryRequest request = MakeMemoryRequest(segment, offset, 0);
  uint8_t answer[2] = {};
  Request(ReadMemoryByteCode, request.data(), 6, answer, 2);
  return answer[0];
}

void CDevio::WriteMemoryWord(uint16_t segment, uint16_t offset, uint16_t value) {
  if (!IsDriverOpen()) return;
  MemoryRequest request = MakeMemoryRequest(segment, offset, value);
  uint8_t ignored[2] = {};
  Request(WriteMemoryWordCode, request.data(), 6, ignored, 2);
}

uint8_t CDevio::PciSearch(uint32_t code, uint32_t classCode, uint16_t first, uint16_t second, uint16_t index,
                          uint16_t& address) {
  address = 0;
  if (!IsDriverOpen()) return PciStatusUntouched;
  PciSearchRequest record = MakePciSearchRequest(classCode, first, second, index);
  bool done = Request(code, record.data(), 16, record.data(), 16);
  if (done && record[12] == 0) address = Get16(&record[10]);
  return record[12];
}

uint8_t CDevio::PciFindDevice(uint16_t firstId, uint16_t secondId, uint16_t index, uint16_t& address) {
  return PciSearch(PciFindDeviceCode, 0, firstId, secondId, index, address);
}

uint8_t CDevio::PciFindClassCode(uint32_t classCode, uint16_t index, uint16_t& address) {
  return PciSearch(PciFindClassCodeCode, classCode, 0, 0, index, address);
}

uint8_t CDevio::PciRead(uint32_t code, uint16_t address, uint16_t reg, uint32_t& value) {
  value = 0;
  if (!IsDriverOpen()) return PciStatusUntouched;
  PciRequest record = MakePciRequest(0, address, reg);
  bool done = Request(code, record.data(), 16, record.data(), 16);
  if (done && record[8] == 0) value = Get32(&record[0]);
  return record[8];
}

uint8_t CDevio::PciReadByte(uint16_t address, uint16_t reg, uint8_t& value) {
  uint32_t v = 0;
  uint8_t status = PciRead(PciReadByteCode, address, reg, v);
  value = static_cast<uint8_t>(v);
  return status;
}

uint8_t CDevio::PciReadWord(uint16_t address, uint16_t reg, uint16_t& value) {
  uint32_t v = 0;
  uint8_t status = PciRead(PciReadWordCode, address, reg, v);
  value = static_cast<uint16_t>(v);
  return status;
}

uint8_t CDevio::PciReadDword(uint16_t address, uint16_t reg, uint32_t& value) {
  return PciRead(PciReadDwordCode, address, reg, value);
}

uint8_t CDevio::PciWrite(uint32_t code, uint16_t address, uint16_t reg, uint32_t value) {
  if (!IsDriverOpen()) return PciStatusUntouched;
  PciRequest record = MakePciRequest(value, address, reg);
  Request(code, record.data(), 16, record.data(), 16);
  return record[8];
}

uint8_t CDevio::PciWriteByte(uint16_t address, uint16_t reg, uint32_t value) {
  return PciWrite(PciWriteByteCode, address, reg, value & 0xFFu);
}

uint8_t CDevio::PciWriteWord(uint16_t address, uint16_t reg, uint32_t value) {
  return PciWrite(PciWriteWordCode, address, reg, value & 0xFFFFu);
}

uint8_t CDevio::PciWriteDword(uint16_t address, uint16_t reg, uint32_t value) {
  return PciWrite(PciWriteDwordCode, address, reg, value);
}

namespace {

RegisterBytes EncodeRegisters(const RegisterRecord& r) {
  RegisterBytes b{};
  Put32(&b[0], r.Eax);
  Put32(&b[4], r.Ebx);
  Put32(&b[8], r.Ecx);
  Put32(&b[12], r.Edx);
  Put32(&b[16], r.Esi);
  Put32(&b[20], r.Edi);
  Put16(&b[24], r.Segment1);
  Put16(&b[26], r.Segment2);
  Put32(&b[28], r.Flags);
  return b;
}

RegisterRecord DecodeRegisters(const uint8_t* b) {
  RegisterRecord r;
  r.Eax = Get32(b + 0);
  r.Ebx = Get32(b + 4);
  r.Ecx = Get32(b + 8);
  r.Edx = Get32(b + 12);
  r.Esi = Get32(b + 16);
  r.Edi = Get32(b + 20);
  r.Segment1 = Get16(b + 24);
  r.Segment2 = Get16(b + 26);
  r.Flags = Get32(b + 28);
  return r;
}

}  // namespace

bool CDevio::CallInt15(RegisterRecord& record) {
  if (!IsDriverOpen()) return false;
  RegisterBytes sent = EncodeRegisters(record);
  RegisterBytes received{};
  if (!Request(CallInt15Code, sent.data(), 32, received.data(), 32)) return false;
  // An unchanged EAX: the BIOS service did not run.
  if (Get32(&received[0]) == record.Eax) return false;
  record = DecodeRegisters(received.data());
  return true;
}

uint32_t CDevio::CallInt15InPlace(uint32_t code, uint8_t* record, uint32_t size) {
  if (IsDriverOpen() && Request(code, record, size, record, size)) return 1;
  return (Get32(record + 28) & 1u) ? 0x8000u + record[1] : 0u;
}

uint32_t CDevio::CallInt15Block(uint8_t* record) { return CallInt15InPlace(CallInt15Code, record, Int15BlockSize); }

uint32_t CDevio::CallInt15PciEx(uint8_t* record) {
  return CallInt15InPlace(CallInt15PciExCode, record, Int15PciExSize);
}

uint8_t CDevio::ReadIndexedByte(uint16_t index) {
  if (!IsDriverOpen()) return 0;
  uint8_t request[3] = {};
  Put16(request, index);
  uint8_t answer = 0;
  Request(ReadIndexedByteCode, request, 3, &answer, 1);
  return answer;
}

bool CDevio::WriteIndexedByte(uint16_t index, uint8_t value) {
  if (!IsDriverOpen()) return false;
  uint8_t request[3] = {};
  Put16(request, index);
  request[2] = value;
  uint8_t answer = 0;
  Request(WriteIndexedByteCode, request, 3, &answer, 1);
  return answer != 0;
}

uintptr_t CDevio::MapPhysicalMemory(uint32_t address, uint32_t length, MapRequest* record) {
  if (!IsDriverOpen()) return 0;
  MapRequestBytes bytes = MakeMapRequest(address, length);
  bool done = Request(MapPhysicalMemoryCode, bytes.data(), 20, bytes.data(), 20);
  if (record) {
    record->PhysicalAddress = Get32(&bytes[0]);
    record->Length = Get32(&bytes[4]);
    record->MappedAddress = Get32(&bytes[8]);
    record->DriverValue1 = Get32(&bytes[12]);
    record->DriverValue2 = Get32(&bytes[16]);
  }
  return done ? Get32(&bytes[8]) : 0;
}

uintptr_t CDevio::MapPhysicalMemory(uint32_t addressLow, uint32_t addressHigh, uint32_t length, bool wide) {
  if (!wide) return addressHigh == 0 ? MapPhysicalMemory(addressLow, length) : 0;
  if (!IsDriverOpen()) return 0;
  WideMapRequest bytes = MakeWideMapRequest(addressLow, addressHigh, length);
  if (!Request(MapPhysicalMemoryCode, bytes.data(), 40, bytes.data(), 40)) return 0;
  return Get32(&bytes[16]);
}

MapRequest* CDevio::UnmapPhysicalMemory(MapRequest& record) {
  if (!IsDriverOpen()) return nullptr;
  MapRequestBytes bytes{};
  Put32(&bytes[0], record.PhysicalAddress);
  Put32(&bytes[4], record.Length);
  Put32(&bytes[8], record.MappedAddress);
  Put32(&bytes[12], record.DriverValue1);
  Put32(&bytes[16], record.DriverValue2);
  if (!Request(UnmapPhysicalMemoryCode, bytes.data(), 20, bytes.data(), 20)) return nullptr;
  record = MapRequest{};
  return &record;
}

uint32_t CDevio::ExchangeValue(uint32_t first, uint32_t second) {
  if (!IsDriverOpen()) return 0;
  uint8_t record[12] = {};
  Put32(record, first);
  Put32(record + 8, second);
  Request(ExchangeValueCode, record, 12, record, 12);
  return Get32(record + 4);
}

int32_t CDevio::ExchangeBlock(uint32_t code, uint8_t (&block)[8]) {
  if (!IsDriverOpen()) return -1;
  return Request(code, block, 8, block, 8) ? 0 : -1;
}

void CDevio::ExchangeBuffer(uint8_t* buffer, uint32_t length) {
  if (!IsDriverOpen()) return;
  Request(ExchangeBufferCode, buffer, length, buffer, length);
}

uint32_t CDevio::FixedRead(uint8_t (&out)[16]) {
  if (!IsDriverOpen()) return 0;
  return Request(FixedReadCode, nullptr, 0, out, 16) ? 0 : platform::GetLastError();
}

uint32_t CDevio::FixedRead(uint8_t (&out)[16], uint32_t selector) {
  if (!IsDriverOpen()) return 0;
  uint32_t code = selector == 20 ? FixedReadSelectedCode : FixedReadCode;
  return Request(code, nullptr, 0, out, 16) ? 0 : platform::GetLastError();
}

uint32_t CDevio::TwoWordRead(uint32_t value, uint32_t& first, uint32_t& second) {
  // Sent even when the driver is closed; the request then fails.
  uint8_t record[8] = {};
  Put32(record + 4, value);
  if (!Request(TwoWordReadCode, record, 8, record, 8)) return platform::GetLastError();
  first = Get32(record);
  second = Get32(record + 4);
  return 0;
}

uint32_t CDevio::TwoWordReadLong(uint32_t value, uint32_t& first, uint32_t& second) {
  uint8_t in[80] = {};
  uint8_t out[80] = {};
  Put32(in, value);
  if (!Request(TwoWordReadCode, in, 80, out, 80)) return platform::GetLastError();
  first = Get32(out);
  second = Get32(out + 4);
  return 0;
}

uint32_t CDevio::CopyPhysicalMemory(uint32_t address, uint32_t length, uint8_t* buffer, bool toMemory) {
  if (!IsDriverOpen()) return 0;
  bool wide = platform::IsWow64Process();
  uintptr_t mapped = MapPhysicalMemory(address, 0, length, wide);
  if (!mapped) return 0;
  // Device memory: every access is a real one, double words first, then the tail by bytes.
  uint32_t words = length / 4;
  // The mapping need not be aligned; the processor takes unaligned double words.
  typedef uint32_t UnalignedWord __attribute__((aligned(1)));
  volatile UnalignedWord* memoryWords = reinterpret_cast<volatile UnalignedWord*>(mapped);
  for (uint32_t i = 0; i < words; ++i) {
    uint32_t word = 0;
    if (toMemory) {
      std::memcpy(&word, buffer + 4 * i, 4);
      memoryWords[i] = word;
    } else {
      word = memoryWords[i];
      std::memcpy(buffer + 4 * i, &word, 4);
    }
  }
  volatile uint8_t* memoryBytes = reinterpret_cast<volatile uint8_t*>(mapped);
  for (uint32_t i = words * 4; i < length; ++i) {
    if (toMemory) memoryBytes[i] = buffer[i];
    else buffer[i] = memoryBytes[i];
  }
  return length;
}

uint32_t CDevio::ReadPhysicalMemory(uint32_t address, uint32_t length, void* destination) {
  return CopyPhysicalMemory(address, length, static_cast<uint8_t*>(destination), false);
}

uint32_t CDevio::WritePhysicalMemory(uint32_t address, uint32_t length, const void* source) {
  return CopyPhysicalMemory(address, length, static_cast<uint8_t*>(const_cast<void*>(source)), true);
}

bool CDevio::PciFindByIds(uint32_t classCode, uint16_t vendor, uint16_t deviceId, uint16_t subsystemVendor,
                          uint16_t subsystem, uint16_t& address) {
  for (uint16_t index = 0;; ++index) {
    uint16_t found = 0;
    if (PciFindClassCode(classCode, index, found) != 0) return false;
    uint16_t ids[4] = {};
    const uint16_t offsets[4] = {0x00, 0x02, 0x2C, 0x2E};
    for (int i = 0; i < 4; ++i) PciReadWord(found, offsets[i], ids[i]);
    if (ids[0] == vendor && ids[1] == deviceId && ids[2] == subsystemVendor && ids[3] == subsystem) {
      address = found;
      return true;
    }
    if (index == 0xFFFF) return false;
  }
}

bool CDevio::PciFindByName(uint32_t classCode, const std::string& name, int instance, uint16_t& address) {
  int count = 0;
  for (uint16_t index = 0;; ++index) {
    uint16_t found = 0;
    if (PciFindClassCode(classCode, index, found) != 0) return false;
    uint16_t ids[4] = {};
    const uint16_t offsets[4] = {0x00, 0x02, 0x2C, 0x2E};
    for (int i = 0; i < 4; ++i) PciReadWord(found, offsets[i], ids[i]);
    SetupDI devices;
    std::string description;
    if (devices.FindDescription(ids[0], ids[1], ids[2], ids[3], description) &&
        description.find(name) != std::string::npos) {
      if (count == instance) {
        address = found;
        return true;
      }
      ++count;
    }
    if (index == 0xFFFF) return false;
  }
}

bool CDevio::ReadSystemBoardId(uint16_t& id) {
  auto signature = [&]() {
    std::string text;
    for (uint16_t offset = 0xFFD9; offset <= 0xFFDC; ++offset)
      text.push_back(static_cast<char>(ReadMemoryByte(0xF000, offset)));
    return text;
  };
  if (signature() == "EISA" || signature() == "NVRM") {
    WritePortByte(0x820, 0);
    uint8_t high = ReadPortByte(0x809);
    uint8_t low = ReadPortByte(0x808);
    id = static_cast<uint16_t>(high << 8 | low);
    return true;
  }
  RegisterRecord registers;
  registers.Eax = 0x0800E800;
  CallInt15(registers);
  if (((registers.Eax >> 8) & 0xFF) == 0 || registers.Ebx == 0x2A0 || registers.Ebx == 0x29C) {
    id = static_cast<uint16_t>(registers.Ecx & 0x7FFF);
    return true;
  }
  return false;
}
