// The simulated machine's management classes: namespaces of classes of instances, each instance an
// ordered list of typed properties. The sim's WMI service answers from the model in force.
//
// Machine-file sections (besides the firmware ones of smbios_model.h):
//   [Management]         InitializeResult, LocatorResult, ConnectResult, BlanketResult: the HRESULT
//                        that CoInitializeEx, CoCreateInstance, ConnectServer and CoSetProxyBlanket
//                        give (default 0). Namespaces other than ROOT\CIMV2 and ROOT\WMI fail to
//                        connect with WBEM_E_INVALID_NAMESPACE.
//   [VideoController.N]  any property of Win32_VideoController by name (Name, Description,
//                        PNPDeviceID, AdapterRAM, DriverVersion...), "null" for a null value; the
//                        first such section replaces the rows derived from the PCI display
//                        controllers. Without them each such controller is one row, named by
//                        the instance id the device tree gives it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/sim/machine.h"
#include "platform/sim/management/smbios_model.h"
#include "platform/wmi.h"

namespace platform {
namespace sim {

struct ManagementValue {
  int32_t CimType = CimString;  // with CimFlagArray for an array
  bool Null = false;
  std::vector<std::string> Texts;  // string, datetime and reference types, UTF-8
  std::vector<double> Numbers;     // numeric types, and booleans as 0 or 1
};

struct ManagementProperty {
  std::string Name;
  ManagementValue Value;
};

struct ManagementObject {
  std::vector<ManagementProperty> Properties;  // the order GetNames gives
};

struct ManagementClass {
  std::string Name;
  std::vector<ManagementObject> Instances;
};

struct ManagementNamespace {
  std::string Name;
  std::vector<ManagementClass> Classes;
};

struct ManagementModel {
  HResult InitializeResult = SOk;
  HResult LocatorResult = SOk;
  HResult ConnectResult = SOk;
  HResult BlanketResult = SOk;
  std::vector<ManagementNamespace> Namespaces;
  uint32_t ProcessorSignature = 0;  // CPUID leaf 1 EAX of the processor that runs the program
};

ManagementValue TextValue(const std::string& text, int32_t cimType = CimString);
ManagementValue NumberValue(double number, int32_t cimType = CimUint32);
ManagementValue BooleanValue(bool value);
ManagementValue NullValue(int32_t cimType);

// The video controller row that [VideoController.N] sections start from, "Raster Graphics
// Adapter"; rows derived from PCI controllers take their other columns from it.
ManagementObject DefaultVideoController();

// Win32_Processor and Win32_VideoController in ROOT\CIMV2, MSSmBios_RawSMBiosTables in ROOT\WMI.
ManagementModel BuildManagementModel(const SmbiosDescription& firmware, const std::vector<uint8_t>& table,
                                     const std::vector<ManagementObject>& videoControllers);

// Sections read by BuildManagementFromText: the firmware ones, [Management], [VideoController.N].
bool IsManagementSection(const std::string& loweredSection);

// The model of a machine file; relative file names are taken from `baseFolder`. False with a
// reason naming the line for an unknown key or a bad value.
bool BuildManagementFromText(const MachineText& text, const std::string& baseFolder, ManagementModel& out,
                             std::string& error);

// The model in force; the built-in one until another is set.
const ManagementModel& CurrentManagement();
void SetCurrentManagement(const ManagementModel& model);

}  // namespace sim
}  // namespace platform
