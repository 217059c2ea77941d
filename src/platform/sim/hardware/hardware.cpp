#include "platform/sim/hardware/hardware.h"

#include <cstring>

#include <sys/mman.h>
#include <unistd.h>

#include "platform/bytes.h"
#include "platform/clock.h"
#include "platform/sim/memory_faults.h"
#include "platform/sim/world.h"

namespace platform {
namespace sim {

namespace {

constexpr uint32_t PageSize = 4096;

int NewMemoryFile(uint32_t size) {
  int fd = memfd_create("rasterscan-physical", MFD_CLOEXEC);
  if (fd < 0) return -1;
  if (ftruncate(fd, static_cast<off_t>(size)) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

// The BAR registers of a function: six in a type 0 header, two behind a bridge.
int BarCount(const PciDevice& d) { return d.SecondaryBus >= 0 ? 2 : 6; }

struct View {
  uintptr_t Base;  // page-aligned start of the view
  size_t Length;
  uintptr_t Answer;  // what the caller got
  uint32_t Physical;
  uint32_t RequestedLength;
};

std::vector<View>& Views() {
  static std::vector<View> views;
  return views;
}

// The stuck and flaky bytes of the machine's [Faults], by physical address.
std::vector<ByteFault> PhysicalByteFaults(const Machine& machine) {
  std::vector<ByteFault> list;
  for (const MemoryFault& f : machine.Faults) {
    ByteFault fault;
    fault.Offset = f.Address;
    if (f.Type == MemoryFault::Kind::StuckBit) {
      (f.StuckHigh ? fault.StuckSet : fault.StuckClear) = f.Mask;
    } else if (f.Type == MemoryFault::Kind::FlakyByte) {
      fault.FlipMask = f.Mask;
      fault.Flips = f.Reads;
    } else {
      continue;
    }
    list.push_back(fault);
  }
  return list;
}

}  // namespace

Hardware& Hardware::Get() {
  static Hardware hardware;
  if (hardware.generation_ != MachineGeneration()) {
    hardware.Release();
    hardware.Build(CurrentMachine());
    hardware.generation_ = MachineGeneration();
  }
  return hardware;
}

void Hardware::Release() {
  // Views stay valid (the caller owns them until it unmaps); only the files are let go.
  for (MemoryRegion& r : regions_)
    if (r.Fd >= 0) close(r.Fd);
  regions_.clear();
  functions_.clear();
}

void Hardware::Build(const Machine& machine) {
  SetByteFaults(PhysicalMemory, PhysicalByteFaults(machine));
  mapCount_ = 0;
  configAddress_ = 0;
  ports_.assign(0x10000, 0xFF);
  indexed_.assign(0x10000, 0);
  service_ = ServiceModel{};
  service_.Installed = machine.DriverService != ServiceState::Absent;
  service_.Running = machine.DriverService == ServiceState::Running;
  service_.Startable = machine.DriverService != ServiceState::Unstartable;

  for (const PciDevice& d : machine.PciDevices) {
    PciFunction f;
    f.Device = d;
    f.Enabled = d.Enabled;
    uint8_t* c = f.Config;
    Put16(c + 0x00, d.VendorId);
    Put16(c + 0x02, d.DeviceId);
    Put16(c + 0x04, d.Enabled ? d.Command : d.Command & ~0x7u);
    Put16(c + 0x06, 0x0200);  // medium DEVSEL timing
    c[0x08] = d.Revision;
    Put32(c + 0x08, d.ClassCode << 8 | d.Revision);
    c[0x0C] = 0x10;
    c[0x0E] = d.SecondaryBus >= 0 ? 0x01 : 0x00;
    for (const PciDevice& other : machine.PciDevices)
      if (&other != &d && other.Bus == d.Bus && other.Device == d.Device) c[0x0E] |= 0x80;
    for (int i = 0; i < BarCount(d); ++i) {
      const PciBar& bar = d.Bars[i];
      uint32_t value = 0;
      if (bar.Type == PciBar::Kind::Memory) value = bar.Base | (bar.Prefetchable ? 0x8u : 0u);
      else if (bar.Type == PciBar::Kind::Io) value = bar.Base | 0x1u;
      Put32(c + 0x10 + 4 * i, value);
    }
    if (d.SecondaryBus >= 0) {
      c[0x18] = d.Bus;
      c[0x19] = static_cast<uint8_t>(d.SecondaryBus);
      c[0x1A] = static_cast<uint8_t>(d.SecondaryBus);
    } else {
      Put16(c + 0x2C, d.SubsystemVendorId);
      Put16(c + 0x2E, d.SubsystemId);
    }
    c[0x3C] = d.InterruptLine;
    c[0x3D] = d.InterruptLine ? 1 : 0;
    functions_.push_back(f);

    for (const PciBar& bar : d.Bars) {
      if (bar.Type != PciBar::Kind::Memory) continue;
      uint32_t skew = 0;
      for (const MemoryFault& fault : machine.Faults)
        if ((fault.Type == MemoryFault::Kind::StuckBit || fault.Type == MemoryFault::Kind::FlakyByte) &&
            fault.Address - bar.Base < bar.Size) {
          skew = (PageSize - (fault.Address - bar.Base) % PageSize) % PageSize;
          break;
        }
      MemoryRegion region{bar.Base, bar.Size, NewMemoryFile(bar.Size + skew), skew};
      for (const MemoryFault& fault : machine.Faults) {
        if (fault.Address - bar.Base >= bar.Size) continue;
        uint8_t byte = 0;
        off_t at = static_cast<off_t>(fault.Address - bar.Base + skew);
        if (pread(region.Fd, &byte, 1, at) == 1) {
          ApplyStuckBits(PhysicalMemory, &byte, fault.Address, 1);
          if (pwrite(region.Fd, &byte, 1, at) != 1) continue;
        }
      }
      regions_.push_back(region);
    }
  }

  // Real-mode memory with the BIOS's date, model byte and, on EISA boards, the signature.
  MemoryRegion low{0, RealModeMemorySize, NewMemoryFile(RealModeMemorySize)};
  regions_.push_back(low);
  auto poke = [&](uint32_t at, const void* bytes, size_t n) {
    if (pwrite(low.Fd, bytes, n, static_cast<off_t>(at)) != static_cast<ssize_t>(n)) return;
  };
  poke(0xFFFF5, "01/15/10", 8);
  const uint8_t model = 0xFC;
  poke(0xFFFFE, &model, 1);
  if (machine.BoardIdFrom == BoardIdSource::Eisa) {
    poke(0xFFFD9, "EISA", 4);
    ports_[0x808] = static_cast<uint8_t>(machine.BoardId);
    ports_[0x809] = static_cast<uint8_t>(machine.BoardId >> 8);
  }
}

PciFunction* Hardware::FindFunction(uint16_t address) {
  for (PciFunction& f : functions_)
    if (f.Device.Address() == address) return &f;
  return nullptr;
}

uint8_t Hardware::ReadConfig(uint16_t address, uint16_t offset, unsigned width, uint32_t& value) {
  if (offset > 0xFF || offset + width > 0x100 || offset % width != 0) return PciBadRegisterNumber;
  PciFunction* f = FindFunction(address);
  if (!f) {
    // Nobody answers: the bus reads all ones.
    value = width == 4 ? 0xFFFFFFFFu : (1u << (8 * width)) - 1;
    return PciSuccessful;
  }
  value = 0;
  for (unsigned i = 0; i < width; ++i) value |= uint32_t{f->Config[offset + i]} << (8 * i);
  return PciSuccessful;
}

uint8_t Hardware::WriteConfig(uint16_t address, uint16_t offset, unsigned width, uint32_t value) {
  if (offset > 0xFF || offset + width > 0x100 || offset % width != 0) return PciBadRegisterNumber;
  PciFunction* f = FindFunction(address);
  if (!f) return PciSuccessful;
  for (unsigned i = 0; i < width; ++i) {
    unsigned at = offset + i;
    uint8_t byte = static_cast<uint8_t>(value >> (8 * i));
    if (at == 0x04 || at == 0x05 || at == 0x0C || at == 0x0D || at == 0x3C) {
      f->Config[at] = byte;
    } else if (at >= 0x10 && at < 0x10u + 4u * BarCount(f->Device)) {
      // Only the address bits above the size take a write; sizing writes read back the mask.
      const PciBar& bar = f->Device.Bars[(at - 0x10) / 4];
      if (bar.Type == PciBar::Kind::Unused) continue;
      uint32_t flags = bar.Type == PciBar::Kind::Io ? 0x3u : 0xFu;
      uint32_t keep = ~(bar.Size - 1) & ~flags;
      unsigned shift = 8 * ((at - 0x10) % 4);
      uint8_t writable = static_cast<uint8_t>(keep >> shift);
      f->Config[at] = static_cast<uint8_t>((f->Config[at] & ~writable) | (byte & writable));
    }
  }
  return PciSuccessful;
}

uint32_t Hardware::ReadPort(uint16_t port, unsigned width) {
  uint32_t value = 0;
  for (unsigned i = 0; i < width; ++i) {
    uint16_t p = static_cast<uint16_t>(port + i);
    uint8_t byte = ports_[p];
    if (p >= 0xCF8 && p <= 0xCFB) {
      byte = static_cast<uint8_t>(configAddress_ >> (8 * (p - 0xCF8)));
    } else if (p >= 0xCFC && p <= 0xCFF && (configAddress_ & 0x80000000u)) {
      uint16_t address = static_cast<uint16_t>((configAddress_ >> 8) & 0xFFFF);
      uint32_t data = 0;
      ReadConfig(address, static_cast<uint16_t>((configAddress_ & 0xFC) + (p - 0xCFC)), 1, data);
      byte = static_cast<uint8_t>(data);
    }
    value |= uint32_t{byte} << (8 * i);
  }
  return value;
}

void Hardware::WritePort(uint16_t port, unsigned width, uint32_t value) {
  for (unsigned i = 0; i < width; ++i) {
    uint16_t p = static_cast<uint16_t>(port + i);
    uint8_t byte = static_cast<uint8_t>(value >> (8 * i));
    if (p >= 0xCF8 && p <= 0xCFB) {
      unsigned shift = 8 * (p - 0xCF8);
      configAddress_ = (configAddress_ & ~(0xFFu << shift)) | uint32_t{byte} << shift;
    } else if (p >= 0xCFC && p <= 0xCFF && (configAddress_ & 0x80000000u)) {
      uint16_t address = static_cast<uint16_t>((configAddress_ >> 8) & 0xFFFF);
      WriteConfig(address, static_cast<uint16_t>((configAddress_ & 0xFC) + (p - 0xCFC)), 1, byte);
    } else if (p != 0x808 && p != 0x809) {
      ports_[p] = byte;
    }
  }
}

uint16_t Hardware::ReadRealModeWord(uint16_t segment, uint16_t offset) {
  uint32_t linear = (uint32_t{segment} << 4) + offset;
  uint8_t bytes[2] = {0xFF, 0xFF};
  const MemoryRegion& low = regions_.back();
  for (uint32_t i = 0; i < 2; ++i)
    if (linear + i < RealModeMemorySize && pread(low.Fd, &bytes[i], 1, static_cast<off_t>(linear + i)) != 1)
      bytes[i] = 0xFF;
  return static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
}

void Hardware::WriteRealModeWord(uint16_t segment, uint16_t offset, uint16_t value) {
  uint32_t linear = (uint32_t{segment} << 4) + offset;
  const MemoryRegion& low = regions_.back();
  uint8_t bytes[2] = {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8)};
  for (uint32_t i = 0; i < 2; ++i)
    if (linear + i < RealModeMemorySize && pwrite(low.Fd, &bytes[i], 1, static_cast<off_t>(linear + i)) != 1) return;
}

void Hardware::CallInt15(uint8_t* r) {
  uint32_t eax = Get32(r);
  uint32_t flags = Get32(r + 28);
  uint8_t ah = static_cast<uint8_t>(eax >> 8);
  const Machine& machine = CurrentMachine();
  if (ah == 0x4F) {
    // Keyboard intercept: the default handler only sets the carry.
    Put32(r + 28, flags | 1u);
    return;
  }
  if (eax == 0x0800E800 && machine.BoardIdFrom == BoardIdSource::Int15) {
    Put32(r + 0, 0x08000000);
    Put32(r + 4, 0);
    Put32(r + 8, machine.BoardId);
    Put32(r + 28, flags & ~1u);
    return;
  }
  if (ah == 0xC0) {
    // System configuration table at F000:E6F5.
    Put32(r + 0, eax & 0xFFFF00FFu);
    Put32(r + 4, 0xE6F5);
    Put16(r + 24, 0xF000);
    Put32(r + 28, flags & ~1u);
    return;
  }
  // Function not supported.
  Put32(r + 0, (eax & 0xFFFF00FFu) | 0x8600u);
  Put32(r + 28, flags | 1u);
}

MemoryRegion* Hardware::RegionAt(uint32_t address, uint32_t length) {
  for (MemoryRegion& r : regions_)
    if (r.Fd >= 0 && address >= r.Base && uint64_t{address} - r.Base + length <= r.Size) return &r;
  return nullptr;
}

uintptr_t Hardware::MapView(uint32_t address, uint32_t length) {
  const Machine& machine = CurrentMachine();
  if (length == 0) return 0;
  for (const MemoryFault& f : machine.Faults)
    if (f.Type == MemoryFault::Kind::Unmappable && address < uint64_t{f.Address} + f.Length &&
        f.Address < uint64_t{address} + length)
      return 0;
  MemoryRegion* region = RegionAt(address, length);
  if (!region) return 0;
  uint32_t offset = address - region->Base + region->Skew;
  uint32_t aligned = offset & ~(PageSize - 1);
  size_t viewLength = (offset - aligned + length + PageSize - 1) & ~size_t{PageSize - 1};
  int flags = MAP_SHARED;
#ifdef MAP_32BIT
  // The driver answers with a 32-bit address.
  flags |= MAP_32BIT;
#endif
  void* view = mmap(nullptr, viewLength, PROT_READ | PROT_WRITE, flags, region->Fd, aligned);
  if (view == MAP_FAILED || reinterpret_cast<uintptr_t>(view) > 0xFFFFFFFFu - viewLength) {
    if (view != MAP_FAILED) munmap(view, viewLength);
    return 0;
  }
  uintptr_t base = reinterpret_cast<uintptr_t>(view);
  AttachFaults(PhysicalMemory, base, viewLength, region->Base + aligned - region->Skew);
  uintptr_t answer = base + (offset - aligned);
  Views().push_back(View{base, viewLength, answer, address, length});
  ++mapCount_;

  if (machine.VirtualClock && machine.MapMilliseconds) platform::Sleep(machine.MapMilliseconds);
  BlockMapped(mapCount_);
  return answer;
}

bool Hardware::UnmapView(uintptr_t answer) {
  std::vector<View>& views = Views();
  for (auto it = views.begin(); it != views.end(); ++it) {
    if (it->Answer != answer) continue;
    for (const MemoryFault& f : CurrentMachine().Faults)
      if (f.Type == MemoryFault::Kind::UnmapFails && f.Address - it->Physical < it->RequestedLength) return false;
    DetachFaults(it->Base, it->Length);
    munmap(reinterpret_cast<void*>(it->Base), it->Length);
    views.erase(it);
    return true;
  }
  return false;
}

void Hardware::SetEnabled(PciFunction& function, bool enabled) {
  function.Enabled = enabled;
  uint16_t command = static_cast<uint16_t>(function.Config[4] | function.Config[5] << 8);
  command = enabled ? static_cast<uint16_t>(command | (function.Device.Command & 0x7)) : static_cast<uint16_t>(command & ~0x7);
  Put16(function.Config + 4, command);
}

}  // namespace sim
}  // namespace platform
