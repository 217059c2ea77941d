// The traps behind stuck and flaky bytes: faults kept apart by their space, a flaky byte seen by
// a read of any width that covers it and by no other, views that let go of their pages, and the
// widths of the loads the memory walks use.
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "platform/sim/memory_faults.h"
#include "platform/sim/surface.h"

namespace sim = platform::sim;

namespace {

constexpr size_t Page = 4096;

// Spaces of frame buffers that no display model in the tests has.
constexpr sim::FaultSpace First = sim::FrameBufferOf(14);
constexpr sim::FaultSpace Second = sim::FrameBufferOf(15);

sim::ByteFault Stuck(uint32_t offset, uint8_t clear, uint8_t set) {
  sim::ByteFault f;
  f.Offset = offset;
  f.StuckClear = clear;
  f.StuckSet = set;
  return f;
}

sim::ByteFault Flaky(uint32_t offset, uint8_t mask, uint32_t reads) {
  sim::ByteFault f;
  f.Offset = offset;
  f.FlipMask = mask;
  f.Flips = reads;
  return f;
}

// Three pages, as a frame buffer has them, watched as a view of one space.
class MemoryTraps : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!sim::ByteFaultsSupported()) GTEST_SKIP() << "the traps need an x86 host";
    for (auto& view : Views) view = static_cast<uint8_t*>(sim::AllocateZeroedPages(3 * Page));
  }
  void TearDown() override {
    for (auto* view : Views) {
      if (view == nullptr) continue;
      sim::DetachFaults(reinterpret_cast<uintptr_t>(view), 3 * Page);
      sim::FreeZeroedPages(view, 3 * Page);
    }
    sim::SetByteFaults(First, {});
    sim::SetByteFaults(Second, {});
  }
  void Attach(size_t view, sim::FaultSpace space, uint32_t offset = 0) {
    sim::AttachFaults(space, reinterpret_cast<uintptr_t>(Views[view]), 3 * Page, offset);
  }
  // Each access is one load or store: a read of a flaky byte must happen exactly once.
  volatile uint8_t* Byte(size_t view, size_t offset) { return Views[view] + offset; }
  uint8_t Read(size_t view, size_t offset) { return *Byte(view, offset); }
  uint64_t Word(size_t view, size_t offset) { return *reinterpret_cast<volatile uint64_t*>(Views[view] + offset); }
  uint32_t DoubleWord(size_t view, size_t offset) {
    return *reinterpret_cast<volatile uint32_t*>(Views[view] + offset);
  }

  uint8_t* Views[2] = {nullptr, nullptr};
};

TEST_F(MemoryTraps, StuckBitsHoldWhateverIsWrittenAndOnlyInTheirOwnSpace) {
  // Two faults at one offset add up; the same offset in the other space is sound.
  sim::SetByteFaults(First, {Stuck(5000, 0x08, 0), Stuck(5000, 0, 0x01), Stuck(100, 0, 0x80)});
  sim::SetByteFaults(Second, {Stuck(9000, 0xFF, 0)});
  Attach(0, First);
  Attach(1, Second);

  *Byte(0, 5000) = 0xFF;
  *Byte(1, 5000) = 0xFF;
  EXPECT_EQ(Read(0, 5000), 0xF7);
  EXPECT_EQ(Read(1, 5000), 0xFF);
  *Byte(0, 5000) = 0x00;
  EXPECT_EQ(Read(0, 5000), 0x01);
  // A wide store over the byte is a write to it like any other.
  *reinterpret_cast<volatile uint64_t*>(Views[0] + 96) = 0;
  EXPECT_EQ(Read(0, 100), 0x80);
  // A byte beside the faulty one keeps what it gets.
  *Byte(0, 5001) = 0xFF;
  EXPECT_EQ(Read(0, 5001), 0xFF);
  *Byte(1, 9000) = 0x5A;
  EXPECT_EQ(Read(1, 9000), 0x00);
}

TEST_F(MemoryTraps, AFlakyByteReadsWrongOnItsFirstReadsOfAnyWidthThatCoverIt) {
  const size_t at = Page + 5;  // the sixth byte of an aligned word
  sim::SetByteFaults(First, {Flaky(at, 0x0F, 3)});
  *Byte(0, at) = 0x5A;
  *Byte(0, at - 1) = 0x11;
  Attach(0, First);

  // Neighbours read alone do not count as reads of it.
  EXPECT_EQ(Read(0, at - 1), 0x11);
  EXPECT_EQ(Read(0, at + 1), 0x00);
  // A quad word over it, then a byte, then a double word: three reads, each wrong.
  EXPECT_EQ(Word(0, Page), uint64_t{0x55} << 40 | uint64_t{0x11} << 32);
  EXPECT_EQ(Read(0, at), 0x55);
  EXPECT_EQ(DoubleWord(0, Page + 4), 0x5511u);
  // Then it is sound, and writes never counted.
  *Byte(0, at) = 0xA5;
  EXPECT_EQ(Word(0, Page), uint64_t{0xA5} << 40 | uint64_t{0x11} << 32);
  EXPECT_EQ(Read(0, at), 0xA5);
}

TEST_F(MemoryTraps, ADetachedViewIsPlainMemoryAgain) {
  sim::SetByteFaults(First, {Stuck(10, 0xFF, 0), Flaky(20, 0x01, 5)});
  Attach(0, First);
  *Byte(0, 10) = 0x77;
  EXPECT_EQ(Read(0, 10), 0x00);
  sim::DetachFaults(reinterpret_cast<uintptr_t>(Views[0]), 3 * Page);
  *Byte(0, 10) = 0x77;
  EXPECT_EQ(Read(0, 10), 0x77);
  EXPECT_EQ(Read(0, 20), 0x00);  // not read through the trap: no flip, no read used up
  // Watched again, the flaky byte still has all its reads.
  Attach(0, First);
  for (int read = 0; read < 5; ++read) EXPECT_EQ(Read(0, 20), 0x01) << "read " << read;
  EXPECT_EQ(Read(0, 20), 0x00);
}

TEST(ReadWidth, KnowsTheLoadsOfTheMemoryWalks) {
  const struct {
    std::vector<uint8_t> Code;
    size_t Width;
  } cases[] = {
      {{0x0F, 0xB6, 0x07}, 1},              // movzx eax, byte [rdi]
      {{0x3A, 0x07}, 1},                    // cmp al, [rdi]
      {{0x38, 0x4C, 0x24, 0x08}, 1},        // cmp [rsp+8], cl
      {{0x8B, 0x07}, 4},                    // mov eax, [rdi]
      {{0x66, 0x8B, 0x07}, 2},              // mov ax, [rdi]
      {{0x3E, 0x66, 0x39, 0x07}, 2},        // cmp [rdi], ax behind a segment prefix
      {{0x0F, 0xB7, 0x07}, 2},              // movzx eax, word [rdi]
      {{0x66, 0x0F, 0x6F, 0x07}, 16},       // movdqa xmm0, [rdi]
      {{0xF3, 0x0F, 0x6F, 0x07}, 16},       // movdqu xmm0, [rdi]
      {{0x0F, 0x10, 0x07}, 16},             // movups xmm0, [rdi]
      {{0xF3, 0x0F, 0x10, 0x07}, 4},        // movss xmm0, [rdi]
      {{0xF2, 0x0F, 0x10, 0x07}, 8},        // movsd xmm0, [rdi]
      {{0xF3, 0x0F, 0x7E, 0x07}, 8},        // movq xmm0, [rdi]
      {{0x66, 0x0F, 0x74, 0x07}, 16},       // pcmpeqb xmm0, [rdi]
      {{0x66, 0x0F, 0xF6, 0x07}, 16},       // psadbw xmm0, [rdi]
      {{0xAC}, 1},                          // lodsb, and anything else
  };
  for (const auto& c : cases) EXPECT_EQ(sim::ReadWidth(c.Code.data()), c.Width) << std::hex << int{c.Code[0]};
#if defined(__x86_64__)
  const uint8_t quad[] = {0x48, 0x8B, 0x07};        // mov rax, [rdi]
  const uint8_t quadCompare[] = {0x4C, 0x3B, 0x07};  // cmp r8, [rdi]
  const uint8_t rexByte[] = {0x41, 0x0F, 0xB6, 0x00};  // movzx eax, byte [r8]
  EXPECT_EQ(sim::ReadWidth(quad), 8u);
  EXPECT_EQ(sim::ReadWidth(quadCompare), 8u);
  EXPECT_EQ(sim::ReadWidth(rexByte), 1u);
#endif
}

}  // namespace
