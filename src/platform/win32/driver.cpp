#include "platform/driver.h"

#include <windows.h>

namespace platform {

namespace {

SC_HANDLE Sc(ServiceHandle handle) { return reinterpret_cast<SC_HANDLE>(handle); }
ServiceHandle Of(SC_HANDLE handle) { return reinterpret_cast<ServiceHandle>(handle); }

}  // namespace

ServiceHandle OpenSCManagerA(const char* machineName, const char* databaseName, uint32_t desiredAccess) {
  return Of(::OpenSCManagerA(machineName, databaseName, desiredAccess));
}

ServiceHandle CreateServiceA(ServiceHandle manager, const std::string& serviceName, const std::string& displayName,
                             uint32_t desiredAccess, uint32_t serviceType, uint32_t startType, uint32_t errorControl,
                             const std::string& binaryPathName) {
  return Of(::CreateServiceA(Sc(manager), serviceName.c_str(), displayName.c_str(), desiredAccess, serviceType,
                             startType, errorControl, binaryPathName.c_str(), nullptr, nullptr, nullptr, nullptr,
                             nullptr));
}

ServiceHandle OpenServiceA(ServiceHandle manager, const std::string& serviceName, uint32_t desiredAccess) {
  return Of(::OpenServiceA(Sc(manager), serviceName.c_str(), desiredAccess));
}

bool QueryServiceStatus(ServiceHandle service, ServiceStatus& status) {
  SERVICE_STATUS s{};
  if (!::QueryServiceStatus(Sc(service), &s)) return false;
  status.ServiceType = s.dwServiceType;
  status.CurrentState = s.dwCurrentState;
  status.ControlsAccepted = s.dwControlsAccepted;
  status.Win32ExitCode = s.dwWin32ExitCode;
  status.ServiceSpecificExitCode = s.dwServiceSpecificExitCode;
  status.CheckPoint = s.dwCheckPoint;
  status.WaitHint = s.dwWaitHint;
  return true;
}

bool StartServiceA(ServiceHandle service) { return ::StartServiceA(Sc(service), 0, nullptr) != FALSE; }

bool CloseServiceHandle(ServiceHandle handle) { return ::CloseServiceHandle(Sc(handle)) != FALSE; }

uint32_t QueryDosDeviceA(const std::string& deviceName, char* buffer, uint32_t size) {
  return ::QueryDosDeviceA(deviceName.c_str(), buffer, size);
}

Handle CreateFileA(const std::string& fileName, uint32_t desiredAccess, uint32_t shareMode,
                   uint32_t creationDisposition, uint32_t flagsAndAttributes) {
  HANDLE handle = ::CreateFileA(fileName.c_str(), desiredAccess, shareMode, nullptr, creationDisposition,
                                flagsAndAttributes, nullptr);
  return reinterpret_cast<Handle>(handle);
}

bool DeviceIoControl(Handle device, uint32_t ioControlCode, const void* in, uint32_t inSize, void* out,
                     uint32_t outSize, uint32_t* bytesReturned) {
  DWORD returned = 0;
  BOOL ok = ::DeviceIoControl(reinterpret_cast<HANDLE>(device), ioControlCode, const_cast<void*>(in), inSize, out,
                              outSize, &returned, nullptr);
  if (bytesReturned) *bytesReturned = returned;
  return ok != FALSE;
}

}  // namespace platform
