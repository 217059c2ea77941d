#include "platform/setupapi.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "platform/sim/hardware/hardware.h"
#include "platform/sim/machine.h"
#include "platform/sim/management/pnp_ids.h"
#include "platform/sim/text_util.h"

namespace platform {

bool operator==(const Guid& a, const Guid& b) {
  return a.Data1 == b.Data1 && a.Data2 == b.Data2 && a.Data3 == b.Data3 && std::memcmp(a.Data4, b.Data4, 8) == 0;
}

namespace {

using sim::Lower;

using sim::PciBar;
using sim::PciDevice;
using sim::ResourceConfig;

constexpr uint32_t ErrorInvalidData = 13;
constexpr uint32_t CrNotDisableable = 0x21;

constexpr Guid SystemClassGuid = {0x4D36E97D, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
constexpr Guid HdcClassGuid = {0x4D36E96A, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
constexpr Guid NetClassGuid = {0x4D36E972, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
constexpr Guid MediaClassGuid = {0x4D36E96C, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
constexpr Guid UsbClassGuid = {0x36FC9E60, 0xC465, 0x11CF, {0x80, 0x56, 0x44, 0x45, 0x53, 0x54, 0x00, 0x00}};
constexpr Guid UnknownClassGuid = {0x4D36E97E, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string Format(const char* format, ...) {
  char buffer[512];
  va_list args;
  va_start(args, format);
  std::vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  return buffer;
}

// One node of the device tree: the root, the PCI host bus, then one per PCI function.
struct Node {
  std::string InstanceId;
  std::string Enumerator;
  std::string Description;
  std::vector<std::string> HardwareIds;
  DevInst Parent = 0;
  int Function = -1;  // index into the hardware's functions
  Guid ClassGuid;
};

struct Tree {
  std::vector<Node> Nodes;  // DevInst n is Nodes[n - 1]
  uint32_t Generation = ~0u;
};

Guid ClassOf(const PciDevice& d) {
  switch (d.ClassCode >> 16) {
    case 0x01: return HdcClassGuid;
    case 0x02: return NetClassGuid;
    case 0x03: return d.DisplayDriver ? DisplayClassGuid : UnknownClassGuid;
    case 0x04: return MediaClassGuid;
    case 0x06: return SystemClassGuid;
    case 0x0C: return UsbClassGuid;
    default: return UnknownClassGuid;
  }
}

Tree& CurrentTree() {
  static Tree tree;
  if (tree.Generation == sim::MachineGeneration()) return tree;
  tree.Nodes.clear();
  tree.Generation = sim::MachineGeneration();
  Node root;
  root.InstanceId = "HTREE\\ROOT\\0";
  root.Enumerator = "HTREE";
  root.Description = "Computer";
  root.ClassGuid = SystemClassGuid;
  tree.Nodes.push_back(root);
  Node bus;
  bus.InstanceId = "ACPI\\PNP0A03\\0";
  bus.Enumerator = "ACPI";
  bus.Description = "PCI bus";
  bus.HardwareIds = {"ACPI\\PNP0A03", "*PNP0A03"};
  bus.Parent = 1;
  bus.ClassGuid = SystemClassGuid;
  tree.Nodes.push_back(bus);
  const auto& functions = sim::Hardware::Get().Functions();
  for (size_t i = 0; i < functions.size(); ++i) {
    const PciDevice& d = functions[i].Device;
    Node node;
    node.HardwareIds = sim::PciHardwareIds(d);
    node.InstanceId = sim::PciInstanceId(d);
    node.Enumerator = "PCI";
    node.Description = d.Description;
    node.Function = static_cast<int>(i);
    node.ClassGuid = ClassOf(d);
    node.Parent = 2;
    for (size_t j = 0; j < functions.size(); ++j)
      if (functions[j].Device.SecondaryBus == d.Bus && d.Bus != 0) node.Parent = static_cast<DevInst>(3 + j);
    tree.Nodes.push_back(node);
  }
  return tree;
}

Node* NodeOf(DevInst devInst) {
  Tree& tree = CurrentTree();
  if (devInst == 0 || devInst > tree.Nodes.size()) return nullptr;
  return &tree.Nodes[devInst - 1];
}

sim::PciFunction* FunctionOf(const Node& node) {
  if (node.Function < 0) return nullptr;
  auto& functions = sim::Hardware::Get().Functions();
  return static_cast<size_t>(node.Function) < functions.size() ? &functions[node.Function] : nullptr;
}

bool IsStarted(const Node& node) {
  const sim::PciFunction* f = FunctionOf(node);
  if (!f) return true;
  return f->Enabled && !(f->Device.ClassCode >> 16 == 0x03 && !f->Device.DisplayDriver);
}

bool HasInterface(const Node& node, const Guid& interfaceClass) {
  return interfaceClass == DisplayAdapterInterfaceGuid && node.ClassGuid == DisplayClassGuid && IsStarted(node);
}

struct DeviceList {
  std::vector<DevInst> Members;
  bool Interfaces = false;
  Guid InterfaceClass;
};

std::map<DeviceInfoSet, DeviceList>& Lists() {
  static std::map<DeviceInfoSet, DeviceList> lists;
  return lists;
}

DeviceList* ListOf(DeviceInfoSet set) {
  auto found = Lists().find(set);
  if (found == Lists().end()) {
    SetLastError(ErrorInvalidHandle);
    return nullptr;
  }
  return &found->second;
}

// A property's type and bytes; false when the device has no such property.
bool ReadProperty(const Node& node, uint32_t spdrp, uint32_t& type, std::vector<uint8_t>& bytes) {
  auto text = [&](const std::string& s) {
    type = RegSz;
    bytes.assign(s.begin(), s.end());
    bytes.push_back(0);
  };
  switch (spdrp) {
    case SpdrpDeviceDesc:
      text(node.Description);
      return true;
    case SpdrpHardwareId:
      if (node.HardwareIds.empty()) return false;
      type = RegMultiSz;
      bytes.clear();
      for (const std::string& id : node.HardwareIds) {
        bytes.insert(bytes.end(), id.begin(), id.end());
        bytes.push_back(0);
      }
      bytes.push_back(0);
      return true;
    case SpdrpLocationInformation: {
      const sim::PciFunction* f = FunctionOf(node);
      if (!f) return false;
      text(Format("PCI bus %u, device %u, function %u", f->Device.Bus, f->Device.Device, f->Device.Function));
      return true;
    }
    case SpdrpUiNumber: {
      const sim::PciFunction* f = FunctionOf(node);
      if (!f || !f->Device.HasSlot) return false;
      type = RegDword;
      uint32_t slot = f->Device.Slot;
      bytes.assign(reinterpret_cast<const uint8_t*>(&slot), reinterpret_cast<const uint8_t*>(&slot) + 4);
      return true;
    }
    default:
      return false;
  }
}

// A resource of a device: its kind and BAR.
struct Resource {
  uint32_t Type;
  const PciBar* Bar;
};

std::vector<Resource> ResourcesOf(const Node& node) {
  std::vector<Resource> list;
  const sim::PciFunction* f = FunctionOf(node);
  if (!f) return list;
  for (const PciBar& bar : f->Device.Bars) {
    if (bar.Type == PciBar::Kind::Memory) list.push_back({ResTypeMem, &bar});
    else if (bar.Type == PciBar::Kind::Io) list.push_back({ResTypeIo, &bar});
  }
  return list;
}

// Log conf and resource descriptor handles: a place in a device's resource list.
struct ResourceHandle {
  DevInst Node;
  int Index;  // -1 for the log conf itself
  uint32_t Generation;
};

std::map<uintptr_t, ResourceHandle>& ResourceHandles() {
  static std::map<uintptr_t, ResourceHandle> handles;
  return handles;
}

uintptr_t NewResourceHandle(DevInst node, int index) {
  static uintptr_t next = 0x10000;
  next += 8;
  ResourceHandles()[next] = ResourceHandle{node, index, sim::MachineGeneration()};
  return next;
}

DeviceInfoSet NewList(const Guid* classGuid, const char* enumerator, uint32_t flags) {
  Tree& tree = CurrentTree();
  DeviceList list;
  std::string wanted = enumerator ? Lower(enumerator) : "";
  if (flags & DigcfDeviceInterface) {
    if (!classGuid) {
      SetLastError(ErrorInvalidParameter);
      return InvalidDeviceInfoSet;
    }
    list.Interfaces = true;
    list.InterfaceClass = *classGuid;
  } else if (!(flags & DigcfAllClasses) && !classGuid) {
    SetLastError(ErrorInvalidParameter);
    return InvalidDeviceInfoSet;
  }
  for (DevInst n = 1; n <= tree.Nodes.size(); ++n) {
    const Node& node = tree.Nodes[n - 1];
    if (!wanted.empty() && Lower(node.Enumerator) != wanted) continue;
    if (list.Interfaces) {
      if (!HasInterface(node, list.InterfaceClass)) continue;
    } else if (!(flags & DigcfAllClasses) && !(node.ClassGuid == *classGuid)) {
      continue;
    }
    list.Members.push_back(n);
  }
  static DeviceInfoSet next = 0x5000;
  next += 0x10;
  Lists()[next] = list;
  return next;
}

}  // namespace

DeviceInfoSet SetupDiGetClassDevsA(const Guid* classGuid, const char* enumerator, uint32_t flags) {
  return NewList(classGuid, enumerator, flags);
}

DeviceInfoSet SetupDiGetClassDevsExA(const Guid* classGuid, const char* enumerator, uint32_t flags) {
  return NewList(classGuid, enumerator, flags);
}

bool SetupDiDestroyDeviceInfoList(DeviceInfoSet set) {
  if (!ListOf(set)) return false;
  Lists().erase(set);
  return true;
}

bool SetupDiEnumDeviceInfo(DeviceInfoSet set, uint32_t index, DeviceInfoData& data) {
  DeviceList* list = ListOf(set);
  if (!list) return false;
  if (data.Size != DeviceInfoDataSize) {
    SetLastError(ErrorInvalidUserBuffer);
    return false;
  }
  if (index >= list->Members.size()) {
    SetLastError(ErrorNoMoreItems);
    return false;
  }
  const Node* node = NodeOf(list->Members[index]);
  if (!node) {
    SetLastError(ErrorNoMoreItems);
    return false;
  }
  data.ClassGuid = node->ClassGuid;
  data.Instance = list->Members[index];
  data.Reserved = 0;
  return true;
}

bool SetupDiEnumDeviceInterfaces(DeviceInfoSet set, const Guid& interfaceClass, uint32_t index,
                                 DeviceInterfaceData& data) {
  DeviceList* list = ListOf(set);
  if (!list) return false;
  if (data.Size != DeviceInterfaceDataSize) {
    SetLastError(ErrorInvalidUserBuffer);
    return false;
  }
  uint32_t seen = 0;
  for (DevInst n : list->Members) {
    const Node* node = NodeOf(n);
    if (!node || !HasInterface(*node, interfaceClass)) continue;
    if (seen++ == index) {
      data.InterfaceClassGuid = interfaceClass;
      data.Flags = 1;  // SPINT_ACTIVE
      data.Reserved = n;
      return true;
    }
  }
  SetLastError(ErrorNoMoreItems);
  return false;
}

bool SetupDiGetDeviceInterfaceDetailA(DeviceInfoSet set, const DeviceInterfaceData& data, void* detail,
                                      uint32_t detailSize, uint32_t* requiredSize) {
  if (!ListOf(set)) return false;
  const Node* node = NodeOf(static_cast<DevInst>(data.Reserved));
  if (!node || data.Size != DeviceInterfaceDataSize) {
    SetLastError(ErrorInvalidParameter);
    return false;
  }
  const Guid& g = data.InterfaceClassGuid;
  std::string path = "\\\\?\\" + Lower(node->InstanceId);
  for (size_t i = 4; i < path.size(); ++i)
    if (path[i] == '\\') path[i] = '#';
  path += Format("#{%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x}", g.Data1, g.Data2, g.Data3, g.Data4[0], g.Data4[1],
                 g.Data4[2], g.Data4[3], g.Data4[4], g.Data4[5], g.Data4[6], g.Data4[7]);
  uint32_t needed = 4 + static_cast<uint32_t>(path.size()) + 1;
  if (requiredSize) *requiredSize = needed;
  if (!detail || detailSize < needed) {
    SetLastError(detail && detailSize >= 4 ? ErrorInsufficientBuffer : (detail ? ErrorInvalidUserBuffer : ErrorInsufficientBuffer));
    return false;
  }
  uint32_t sizeField = 0;
  std::memcpy(&sizeField, detail, 4);
  if (sizeField != DeviceInterfaceDetailDataSize) {
    SetLastError(ErrorInvalidUserBuffer);
    return false;
  }
  std::memcpy(static_cast<char*>(detail) + 4, path.c_str(), path.size() + 1);
  return true;
}

bool SetupDiGetDeviceRegistryPropertyA(DeviceInfoSet set, const DeviceInfoData& data, uint32_t property,
                                       uint32_t* propertyRegType, uint8_t* buffer, uint32_t bufferSize,
                                       uint32_t* requiredSize) {
  if (!ListOf(set)) return false;
  const Node* node = NodeOf(data.Instance);
  if (!node || data.Size != DeviceInfoDataSize) {
    SetLastError(ErrorInvalidParameter);
    return false;
  }
  uint32_t type = 0;
  std::vector<uint8_t> bytes;
  if (!ReadProperty(*node, property, type, bytes)) {
    SetLastError(ErrorInvalidData);
    return false;
  }
  if (requiredSize) *requiredSize = static_cast<uint32_t>(bytes.size());
  if (propertyRegType) *propertyRegType = type;
  if (!buffer || bufferSize < bytes.size()) {
    SetLastError(ErrorInsufficientBuffer);
    return false;
  }
  std::memcpy(buffer, bytes.data(), bytes.size());
  return true;
}

bool SetupDiGetDeviceInstanceIdA(DeviceInfoSet set, const DeviceInfoData& data, char* buffer, uint32_t bufferSize,
                                 uint32_t* requiredSize) {
  if (!ListOf(set)) return false;
  const Node* node = NodeOf(data.Instance);
  if (!node || data.Size != DeviceInfoDataSize) {
    SetLastError(ErrorInvalidParameter);
    return false;
  }
  uint32_t needed = static_cast<uint32_t>(node->InstanceId.size()) + 1;
  if (requiredSize) *requiredSize = needed;
  if (!buffer || bufferSize < needed) {
    SetLastError(ErrorInsufficientBuffer);
    return false;
  }
  std::memcpy(buffer, node->InstanceId.c_str(), needed);
  return true;
}

uint32_t CM_Locate_DevNodeA(DevInst& devInst, const char* deviceId, uint32_t /*flags*/) {
  Tree& tree = CurrentTree();
  if (!deviceId || !*deviceId) {
    devInst = 1;
    return CrSuccess;
  }
  for (DevInst n = 1; n <= tree.Nodes.size(); ++n)
    if (Lower(tree.Nodes[n - 1].InstanceId) == Lower(deviceId)) {
      devInst = n;
      return CrSuccess;
    }
  return CrNoSuchDevNode;
}

uint32_t CM_Get_Child(DevInst& child, DevInst devInst, uint32_t /*flags*/) {
  Tree& tree = CurrentTree();
  if (!NodeOf(devInst)) return CrInvalidDevNode;
  for (DevInst n = 1; n <= tree.Nodes.size(); ++n)
    if (tree.Nodes[n - 1].Parent == devInst) {
      child = n;
      return CrSuccess;
    }
  return CrNoSuchDevNode;
}

uint32_t CM_Get_Sibling(DevInst& sibling, DevInst devInst, uint32_t /*flags*/) {
  Tree& tree = CurrentTree();
  const Node* node = NodeOf(devInst);
  if (!node) return CrInvalidDevNode;
  for (DevInst n = devInst + 1; n <= tree.Nodes.size(); ++n)
    if (tree.Nodes[n - 1].Parent == node->Parent && node->Parent != 0) {
      sibling = n;
      return CrSuccess;
    }
  return CrNoSuchDevNode;
}

uint32_t CM_Get_Parent(DevInst& parent, DevInst devInst, uint32_t /*flags*/) {
  const Node* node = NodeOf(devInst);
  if (!node) return CrInvalidDevNode;
  if (node->Parent == 0) return CrNoSuchDevNode;
  parent = node->Parent;
  return CrSuccess;
}

uint32_t CM_Get_Device_ID_Size(uint32_t& length, DevInst devInst, uint32_t /*flags*/) {
  const Node* node = NodeOf(devInst);
  if (!node) return CrInvalidDevNode;
  length = static_cast<uint32_t>(node->InstanceId.size());
  return CrSuccess;
}

uint32_t CM_Get_Device_IDA(DevInst devInst, char* buffer, uint32_t bufferLength, uint32_t /*flags*/) {
  const Node* node = NodeOf(devInst);
  if (!node) return CrInvalidDevNode;
  if (!buffer) return CrInvalidData;
  const std::string& id = node->InstanceId;
  if (bufferLength < id.size()) return CrBufferSmall;
  std::memcpy(buffer, id.data(), id.size());
  // As the real call: the zero is added only when there is room for it.
  if (bufferLength > id.size()) buffer[id.size()] = '\0';
  return CrSuccess;
}

uint32_t CM_Get_Device_ID_ExA(DevInst devInst, char* buffer, uint32_t bufferLength, uint32_t flags) {
  return CM_Get_Device_IDA(devInst, buffer, bufferLength, flags);
}

uint32_t CM_Get_DevNode_Status(uint32_t& status, uint32_t& problemNumber, DevInst devInst, uint32_t /*flags*/) {
  const Node* node = NodeOf(devInst);
  if (!node) return CrInvalidDevNode;
  const sim::PciFunction* f = FunctionOf(*node);
  status = 0x01800000;  // enumerated and driven by NT
  problemNumber = 0;
  if (IsStarted(*node)) {
    status |= DnDriverLoaded | DnStarted | (f ? DnDisableable : 0);
  } else {
    status |= DnHasProblem | DnDisableable;
    problemNumber = f && !f->Enabled ? CmProbDisabled : CmProbFailedInstall;
  }
  return CrSuccess;
}

uint32_t CM_Get_DevNode_Status_Ex(uint32_t& status, uint32_t& problemNumber, DevInst devInst, uint32_t flags) {
  return CM_Get_DevNode_Status(status, problemNumber, devInst, flags);
}

uint32_t CM_Get_DevNode_Registry_PropertyA(DevInst devInst, uint32_t property, uint32_t* regDataType, void* buffer,
                                           uint32_t* length, uint32_t /*flags*/) {
  const Node* node = NodeOf(devInst);
  if (!node) return CrInvalidDevNode;
  if (!length || property == 0) return CrInvalidData;
  uint32_t type = 0;
  std::vector<uint8_t> bytes;
  if (!ReadProperty(*node, property - 1, type, bytes)) return CrNoSuchValue;
  if (regDataType) *regDataType = type;
  if (!buffer || *length < bytes.size()) {
    *length = static_cast<uint32_t>(bytes.size());
    return CrBufferSmall;
  }
  std::memcpy(buffer, bytes.data(), bytes.size());
  *length = static_cast<uint32_t>(bytes.size());
  return CrSuccess;
}

uint32_t CM_Enable_DevNode(DevInst devInst, uint32_t /*flags*/) {
  const Node* node = NodeOf(devInst);
  if (!node) return CrInvalidDevNode;
  if (sim::PciFunction* f = FunctionOf(*node)) sim::Hardware::Get().SetEnabled(*f, true);
  return CrSuccess;
}

uint32_t CM_Disable_DevNode(DevInst devInst, uint32_t /*flags*/) {
  const Node* node = NodeOf(devInst);
  if (!node) return CrInvalidDevNode;
  sim::PciFunction* f = FunctionOf(*node);
  if (!f) return CrNotDisableable;
  sim::Hardware::Get().SetEnabled(*f, false);
  return CrSuccess;
}

uint32_t CM_Get_First_Log_Conf(LogConf& logConf, DevInst devInst, uint32_t flags) {
  const Node* node = NodeOf(devInst);
  if (!node) return CrInvalidDevNode;
  const sim::PciFunction* f = FunctionOf(*node);
  if (!f || ResourcesOf(*node).empty()) return CrNoMoreLogConf;
  bool present = false;
  if (flags == AllocLogConf) present = f->Device.Resources == ResourceConfig::Allocated && IsStarted(*node);
  else if (flags == BootLogConf) present = f->Device.Resources != ResourceConfig::None;
  if (!present) return CrNoMoreLogConf;
  logConf = NewResourceHandle(devInst, -1);
  return CrSuccess;
}

uint32_t CM_Get_Next_Res_Des(ResDes& next, uintptr_t current, uint32_t forResource, uint32_t* resourceId,
                             uint32_t /*flags*/) {
  auto found = ResourceHandles().find(current);
  if (found == ResourceHandles().end() || found->second.Generation != sim::MachineGeneration()) return CrInvalidResDes;
  const ResourceHandle here = found->second;
  const Node* node = NodeOf(here.Node);
  if (!node) return CrInvalidResDes;
  std::vector<Resource> list = ResourcesOf(*node);
  for (size_t i = static_cast<size_t>(here.Index + 1); i < list.size(); ++i) {
    if (forResource != 0 && list[i].Type != forResource) continue;
    if (resourceId) *resourceId = list[i].Type;
    next = NewResourceHandle(here.Node, static_cast<int>(i));
    return CrSuccess;
  }
  return CrNoMoreResDes;
}

namespace {

bool ResourceData(ResDes resDes, std::vector<uint8_t>& bytes) {
  auto found = ResourceHandles().find(resDes);
  if (found == ResourceHandles().end() || found->second.Index < 0 || found->second.Generation != sim::MachineGeneration())
    return false;
  const Node* node = NodeOf(found->second.Node);
  if (!node) return false;
  std::vector<Resource> list = ResourcesOf(*node);
  if (static_cast<size_t>(found->second.Index) >= list.size()) return false;
  const Resource& r = list[found->second.Index];
  if (r.Type == ResTypeMem) {
    MemDes des{};
    des.Type = 0x28;  // MType_Range: sizeof(MEM_RANGE)
    des.AllocBase = r.Bar->Base;
    des.AllocEnd = uint64_t{r.Bar->Base} + r.Bar->Size - 1;
    des.Flags = FmdRam | Fmd32 | (r.Bar->Prefetchable ? FmdPrefetchable : 0);
    bytes.assign(reinterpret_cast<const uint8_t*>(&des), reinterpret_cast<const uint8_t*>(&des) + sizeof des);
  } else {
    IoDes des{};
    des.Type = 0x22;  // IOType_Range: sizeof(IO_RANGE)
    des.AllocBase = r.Bar->Base;
    des.AllocEnd = uint64_t{r.Bar->Base} + r.Bar->Size - 1;
    des.Flags = FiodIo;
    bytes.assign(reinterpret_cast<const uint8_t*>(&des), reinterpret_cast<const uint8_t*>(&des) + sizeof des);
  }
  return true;
}

}  // namespace

uint32_t CM_Get_Res_Des_Data_Size(uint32_t& size, ResDes resDes, uint32_t /*flags*/) {
  std::vector<uint8_t> bytes;
  if (!ResourceData(resDes, bytes)) return CrInvalidResDes;
  size = static_cast<uint32_t>(bytes.size());
  return CrSuccess;
}

uint32_t CM_Get_Res_Des_Data(ResDes resDes, void* buffer, uint32_t bufferLength, uint32_t /*flags*/) {
  std::vector<uint8_t> bytes;
  if (!ResourceData(resDes, bytes)) return CrInvalidResDes;
  if (!buffer || bufferLength < bytes.size()) return CrBufferSmall;
  std::memcpy(buffer, bytes.data(), bytes.size());
  return CrSuccess;
}

uint32_t CM_Free_Log_Conf_Handle(LogConf logConf) {
  auto found = ResourceHandles().find(logConf);
  if (found == ResourceHandles().end() || found->second.Index >= 0) return CrInvalidLogConf;
  ResourceHandles().erase(found);
  return CrSuccess;
}

uint32_t CM_Free_Res_Des_Handle(ResDes resDes) {
  auto found = ResourceHandles().find(resDes);
  if (found == ResourceHandles().end() || found->second.Index < 0) return CrInvalidResDes;
  ResourceHandles().erase(found);
  return CrSuccess;
}

}  // namespace platform
