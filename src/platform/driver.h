// Service control and device I/O control: what it takes to install, start and talk to a
// kernel-mode driver. One call here is one Windows call with the same arguments and results.
#pragma once

#include <cstdint>
#include <string>

#include "platform/handles.h"

namespace platform {

// SC_HANDLE; 0 is the null handle.
using ServiceHandle = uintptr_t;

constexpr uint32_t ScManagerAllAccess = 0xF003F;
constexpr uint32_t ServiceAllAccess = 0xF01FF;
constexpr uint32_t ServiceKernelDriver = 1;
constexpr uint32_t ServiceDemandStart = 3;
constexpr uint32_t ServiceErrorNormal = 1;
constexpr uint32_t ServiceStopped = 1;
constexpr uint32_t ServiceRunning = 4;

constexpr uint32_t GenericRead = 0x80000000u;
constexpr uint32_t GenericWrite = 0x40000000u;
constexpr uint32_t FileShareRead = 1;
constexpr uint32_t OpenExisting = 3;

struct ServiceStatus {
  uint32_t ServiceType = 0;
  uint32_t CurrentState = 0;
  uint32_t ControlsAccepted = 0;
  uint32_t Win32ExitCode = 0;
  uint32_t ServiceSpecificExitCode = 0;
  uint32_t CheckPoint = 0;
  uint32_t WaitHint = 0;
};

// OpenSCManagerA; null names stand for the local machine and the active database.
ServiceHandle OpenSCManagerA(const char* machineName, const char* databaseName, uint32_t desiredAccess);
// CreateServiceA with no load order group, dependencies, account or password.
ServiceHandle CreateServiceA(ServiceHandle manager, const std::string& serviceName, const std::string& displayName,
                             uint32_t desiredAccess, uint32_t serviceType, uint32_t startType, uint32_t errorControl,
                             const std::string& binaryPathName);
ServiceHandle OpenServiceA(ServiceHandle manager, const std::string& serviceName, uint32_t desiredAccess);
bool QueryServiceStatus(ServiceHandle service, ServiceStatus& status);
// StartServiceA with no arguments.
bool StartServiceA(ServiceHandle service);
bool CloseServiceHandle(ServiceHandle handle);

// QueryDosDeviceA: the characters stored in `buffer`, 0 when the name does not resolve.
uint32_t QueryDosDeviceA(const std::string& deviceName, char* buffer, uint32_t size);

// CreateFileA with no security attributes and no template.
Handle CreateFileA(const std::string& fileName, uint32_t desiredAccess, uint32_t shareMode,
                   uint32_t creationDisposition, uint32_t flagsAndAttributes);

// DeviceIoControl, synchronous (no overlapped structure). `in` and `out` may be the same buffer.
bool DeviceIoControl(Handle device, uint32_t ioControlCode, const void* in, uint32_t inSize, void* out,
                     uint32_t outSize, uint32_t* bytesReturned);

}  // namespace platform
