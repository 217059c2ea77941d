#include "platform/driver.h"

#include <cstring>
#include <vector>

#include "platform/bytes.h"
#include "platform/sim/hardware/driver_log.h"
#include "platform/sim/system/handle_table.h"
#include "platform/sim/hardware/hardware.h"
#include "platform/sim/machine.h"
#include "platform/sim/text_util.h"

namespace platform {

namespace {

using sim::Lower;

// The one driver this machine has: its service and the device it creates.
constexpr const char* KnownService = "zyrdfw";
constexpr const char* KnownDevice = "zyrdfw";

constexpr uint32_t ErrorInvalidFunction = 1;
constexpr uint32_t ErrorGenFailure = 31;

// Services created by other names: they exist but have no driver file to start.
struct OtherService {
  std::string Name;
};

std::vector<OtherService>& OtherServices() {
  static std::vector<OtherService> services;
  static uint32_t generation = ~0u;
  if (generation != sim::MachineGeneration()) {
    services.clear();
    generation = sim::MachineGeneration();
  }
  return services;
}

// Service handle values: 0 the known driver, 1 + n the n-th other service.
bool FindService(const std::string& name, uint32_t& value) {
  std::string lowered = Lower(name);
  if (lowered == KnownService) {
    if (!sim::Hardware::Get().Service().Installed) return false;
    value = 0;
    return true;
  }
  const auto& others = OtherServices();
  for (size_t i = 0; i < others.size(); ++i)
    if (others[i].Name == lowered) {
      value = static_cast<uint32_t>(1 + i);
      return true;
    }
  return false;
}

// The driver's request table, decoded byte for byte from the records. `io` holds the input and
// receives the output.
bool Dispatch(uint32_t code, std::vector<uint8_t>& io, uint32_t inSize, uint32_t outSize, uint32_t& returned) {
  sim::Hardware& hw = sim::Hardware::Get();
  auto need = [&](uint32_t in, uint32_t out) {
    if (inSize < in || outSize < out) {
      SetLastError(ErrorInvalidParameter);
      return false;
    }
    if (io.size() < out) io.resize(out, 0);
    return true;
  };
  switch (code) {
    case 0x220004:
    case 0x220008:
    case 0x22000C: {
      unsigned width = code == 0x220004 ? 1 : code == 0x220008 ? 2 : 4;
      if (!need(12, 4) || Get32(&io[4]) != width || Get32(&io[0]) > 0xFFFF) break;
      uint32_t value = hw.ReadPort(static_cast<uint16_t>(Get32(&io[0])), width);
      Put32(&io[0], value);
      returned = 4;
      return true;
    }
    case 0x220010:
    case 0x220014:
    case 0x220018: {
      unsigned width = code == 0x220010 ? 1 : code == 0x220014 ? 2 : 4;
      if (!need(12, 0) || Get32(&io[4]) != width || Get32(&io[0]) > 0xFFFF) break;
      hw.WritePort(static_cast<uint16_t>(Get32(&io[0])), width, Get32(&io[8]));
      returned = 0;
      return true;
    }
    case 0x22001C:
    case 0x220020: {
      if (!need(6, 2)) break;
      uint16_t word = hw.ReadRealModeWord(Get16(&io[0]), Get16(&io[2]));
      Put16(&io[0], code == 0x220020 ? word & 0xFFu : word);
      returned = 2;
      return true;
    }
    case 0x220024:
      if (!need(6, 0)) break;
      hw.WriteRealModeWord(Get16(&io[0]), Get16(&io[2]), Get16(&io[4]));
      returned = 0;
      return true;
    case 0x22003C:
    case 0x220058: {
      if (!need(16, 16)) break;
      uint32_t classCode = Get32(&io[0]);
      uint16_t first = Get16(&io[4]), second = Get16(&io[6]), index = Get16(&io[8]);
      uint16_t seen = 0;
      io[12] = sim::PciDeviceNotFound;
      for (const sim::PciFunction& f : hw.Functions()) {
        bool match = code == 0x220058 ? (f.Device.ClassCode == (classCode & 0xFFFFFF))
                                      : (f.Device.VendorId == first && f.Device.DeviceId == second);
        if (!match) continue;
        if (seen++ == index) {
          Put16(&io[10], f.Device.Address());
          io[12] = sim::PciSuccessful;
          break;
        }
      }
      returned = 16;
      return true;
    }
    case 0x220040:
    case 0x220044:
    case 0x220048: {
      if (!need(9, 9)) break;
      unsigned width = code == 0x220040 ? 1 : code == 0x220044 ? 2 : 4;
      uint32_t value = 0;
      uint8_t status = hw.ReadConfig(Get16(&io[4]), Get16(&io[6]), width, value);
      if (status == sim::PciSuccessful) Put32(&io[0], value);
      io[8] = status;
      returned = inSize;
      return true;
    }
    case 0x22004C:
    case 0x220050:
    case 0x220054: {
      if (!need(9, 9)) break;
      unsigned width = code == 0x22004C ? 1 : code == 0x220050 ? 2 : 4;
      io[8] = hw.WriteConfig(Get16(&io[4]), Get16(&io[6]), width, Get32(&io[0]));
      returned = inSize;
      return true;
    }
    case 0x220060:
    case 0x220064:
      if (!need(32, 32)) break;
      hw.CallInt15(io.data());
      returned = outSize;
      return true;
    case 0x220068:
      if (!need(3, 1)) break;
      io[0] = hw.IndexedByte(Get16(&io[0]));
      returned = 1;
      return true;
    case 0x22006C:
      if (!need(3, 1)) break;
      hw.SetIndexedByte(Get16(&io[0]), io[2]);
      io[0] = 1;
      returned = 1;
      return true;
    case 0x2200A8: {
      // 20 bytes from a 32-bit driver's client, 40 from one that talks to a 64-bit driver.
      bool wide = inSize == 40;
      if (!(inSize == 20 || wide) || !need(inSize, inSize)) break;
      if (wide && Get32(&io[4]) != 0) break;  // above 4 GiB: nothing there
      uint32_t address = Get32(&io[0]);
      uint32_t length = Get32(&io[wide ? 8 : 4]);
      uintptr_t view = hw.MapView(address, length);
      if (!view) {
        SetLastError(ErrorGenFailure);
        return false;
      }
      if (wide) {
        Put32(&io[16], static_cast<uint32_t>(view));
      } else {
        Put32(&io[8], static_cast<uint32_t>(view));
        Put32(&io[12], address ^ 0x5A5A0000u);
        Put32(&io[16], length);
      }
      returned = inSize;
      return true;
    }
    case 0x2200C8: {
      if (!need(20, 20)) break;
      if (Get32(&io[12]) != (Get32(&io[0]) ^ 0x5A5A0000u) || Get32(&io[16]) != Get32(&io[4])) break;
      if (!hw.UnmapView(Get32(&io[8]))) {
        SetLastError(ErrorGenFailure);
        return false;
      }
      returned = 20;
      return true;
    }
    case 0x2200B0:
      // Value exchange: the sim's driver echoes the first argument in the second word.
      if (!need(12, 12)) break;
      Put32(&io[4], Get32(&io[0]));
      returned = 12;
      return true;
    case 0x2200BC:
    case 0x2200C0:
      if (!need(8, 8)) break;
      returned = 8;
      return true;
    case 0x2200C4:
      returned = outSize;
      return true;
    case 0x222460:
    case 0x222464: {
      if (!need(0, 16)) break;
      static const char ident[16] = "ZyrDfw sim 1.0";
      std::memcpy(io.data(), ident, 16);
      returned = 16;
      return true;
    }
    case 0x222498:
      if (!need(8, 8)) break;
      if (inSize == 8) Put32(&io[0], 0x00010000);
      else Put32(&io[4], Get32(&io[0])), Put32(&io[0], 0x00010000);
      returned = outSize;
      return true;
    default:
      SetLastError(ErrorInvalidFunction);
      return false;
  }
  if (GetLastError() == 0) SetLastError(ErrorInvalidParameter);
  return false;
}

std::vector<sim::DriverRequest>& RequestLog() {
  static std::vector<sim::DriverRequest> log;
  return log;
}

}  // namespace

namespace sim {

const std::vector<DriverRequest>& DriverRequests() { return RequestLog(); }
void ClearDriverRequests() { RequestLog().clear(); }

}  // namespace sim

ServiceHandle OpenSCManagerA(const char* machineName, const char* /*databaseName*/, uint32_t desiredAccess) {
  if (machineName && *machineName) {
    SetLastError(1722);  // RPC_S_SERVER_UNAVAILABLE: no other machines here
    return 0;
  }
  return sim::OpenHandle(sim::HandleKind::ScManager, desiredAccess);
}

ServiceHandle CreateServiceA(ServiceHandle manager, const std::string& serviceName, const std::string& /*displayName*/,
                             uint32_t /*desiredAccess*/, uint32_t serviceType, uint32_t /*startType*/,
                             uint32_t /*errorControl*/, const std::string& binaryPathName) {
  uint32_t access = 0;
  if (!sim::LookupHandle(manager, sim::HandleKind::ScManager, access)) return 0;
  if (!sim::CurrentMachine().Administrator) {
    SetLastError(ErrorAccessDenied);
    return 0;
  }
  uint32_t value = 0;
  if (FindService(serviceName, value)) {
    SetLastError(ErrorServiceExists);
    return 0;
  }
  if (serviceType == 0 || binaryPathName.empty() || serviceName.empty()) {
    SetLastError(ErrorInvalidParameter);
    return 0;
  }
  if (Lower(serviceName) == KnownService) {
    sim::ServiceModel& service = sim::Hardware::Get().Service();
    service.Installed = true;
    service.Running = false;
    service.Startable = true;
    return sim::OpenHandle(sim::HandleKind::Service, 0);
  }
  OtherServices().push_back(OtherService{Lower(serviceName)});
  return sim::OpenHandle(sim::HandleKind::Service, static_cast<uint32_t>(OtherServices().size()));
}

ServiceHandle OpenServiceA(ServiceHandle manager, const std::string& serviceName, uint32_t /*desiredAccess*/) {
  uint32_t access = 0;
  if (!sim::LookupHandle(manager, sim::HandleKind::ScManager, access)) return 0;
  uint32_t value = 0;
  if (!FindService(serviceName, value)) {
    SetLastError(ErrorServiceDoesNotExist);
    return 0;
  }
  return sim::OpenHandle(sim::HandleKind::Service, value);
}

bool QueryServiceStatus(ServiceHandle service, ServiceStatus& status) {
  uint32_t value = 0;
  if (!sim::LookupHandle(service, sim::HandleKind::Service, value)) return false;
  status = ServiceStatus{};
  status.ServiceType = ServiceKernelDriver;
  status.CurrentState = value == 0 && sim::Hardware::Get().Service().Running ? ServiceRunning : ServiceStopped;
  status.ControlsAccepted = status.CurrentState == ServiceRunning ? 1 : 0;
  return true;
}

bool StartServiceA(ServiceHandle service) {
  uint32_t value = 0;
  if (!sim::LookupHandle(service, sim::HandleKind::Service, value)) return false;
  if (value != 0) {
    SetLastError(ErrorFileNotFound);  // no driver file for it
    return false;
  }
  sim::ServiceModel& model = sim::Hardware::Get().Service();
  if (model.Running) {
    SetLastError(ErrorServiceAlreadyRunning);
    return false;
  }
  if (!model.Startable) {
    SetLastError(ErrorAccessDenied);
    return false;
  }
  model.Running = true;
  return true;
}

bool CloseServiceHandle(ServiceHandle handle) {
  return sim::CloseHandleOfKind(handle, sim::HandleKind::Service) ||
         sim::CloseHandleOfKind(handle, sim::HandleKind::ScManager);
}

uint32_t QueryDosDeviceA(const std::string& deviceName, char* buffer, uint32_t size) {
  if (Lower(deviceName) != KnownDevice || !sim::Hardware::Get().Service().Running) {
    SetLastError(ErrorFileNotFound);
    return 0;
  }
  const std::string target = "\\Device\\Zyrdfw";
  uint32_t needed = static_cast<uint32_t>(target.size()) + 2;
  if (!buffer || size < needed) {
    SetLastError(ErrorInsufficientBuffer);
    return 0;
  }
  std::memcpy(buffer, target.c_str(), target.size() + 1);
  buffer[target.size() + 1] = '\0';
  return needed;
}

Handle CreateFileA(const std::string& fileName, uint32_t desiredAccess, uint32_t /*shareMode*/,
                   uint32_t creationDisposition, uint32_t /*flagsAndAttributes*/) {
  const std::string prefix = "\\\\.\\";
  if (fileName.rfind(prefix, 0) != 0 || Lower(fileName.substr(prefix.size())) != KnownDevice ||
      !sim::Hardware::Get().Service().Running || creationDisposition != OpenExisting) {
    SetLastError(ErrorFileNotFound);
    return InvalidHandleValue;
  }
  return sim::OpenHandle(sim::HandleKind::Device, desiredAccess);
}

bool DeviceIoControl(Handle device, uint32_t ioControlCode, const void* in, uint32_t inSize, void* out,
                     uint32_t outSize, uint32_t* bytesReturned) {
  if ((in == nullptr && inSize != 0) || (out == nullptr && outSize != 0)) {
    SetLastError(ErrorInvalidParameter);
    return false;
  }
  std::vector<uint8_t> io(static_cast<const uint8_t*>(in), static_cast<const uint8_t*>(in) + inSize);
  // Only the last few hundred requests are kept: a memory walk maps thousands of blocks.
  if (RequestLog().size() >= 512) RequestLog().erase(RequestLog().begin(), RequestLog().begin() + 256);
  RequestLog().push_back(sim::DriverRequest{ioControlCode, io, outSize});
  uint32_t access = 0;
  if (!sim::LookupHandle(device, sim::HandleKind::Device, access)) return false;
  uint32_t returned = 0;
  SetLastError(0);
  if (!Dispatch(ioControlCode, io, inSize, outSize, returned)) return false;
  if (io.size() < outSize) io.resize(outSize, 0);
  if (outSize) std::memcpy(out, io.data(), outSize);
  if (bytesReturned) *bytesReturned = returned;
  return true;
}

}  // namespace platform
