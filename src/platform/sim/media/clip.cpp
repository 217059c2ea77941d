#include "platform/sim/media/clip.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

namespace platform {
namespace sim {
namespace {

// Larger than any frame a clip of this graph needs, small enough that a forged header cannot make
// the scaler ask for gigabytes.
constexpr int MaxSide = 4096;
// A clip that claims to last longer would hold the real clock for hours.
constexpr double MaxSeconds = 3600;
constexpr int IoBufferSize = 1 << 14;

// The file's bytes behind an AVIOContext.
struct MemoryFile {
  std::vector<uint8_t> Bytes;
  size_t At = 0;
};

int ReadMemory(void* opaque, uint8_t* buffer, int size) {
  auto* file = static_cast<MemoryFile*>(opaque);
  const size_t left = file->Bytes.size() - file->At;
  const size_t count = std::min(left, static_cast<size_t>(size));
  if (count == 0) return AVERROR_EOF;
  std::memcpy(buffer, file->Bytes.data() + file->At, count);
  file->At += count;
  return static_cast<int>(count);
}

int64_t SeekMemory(void* opaque, int64_t offset, int whence) {
  auto* file = static_cast<MemoryFile*>(opaque);
  const auto size = static_cast<int64_t>(file->Bytes.size());
  if (whence & AVSEEK_SIZE) return size;
  int64_t to = offset;
  switch (whence & ~AVSEEK_FORCE) {
    case SEEK_SET: break;
    case SEEK_CUR: to += static_cast<int64_t>(file->At); break;
    case SEEK_END: to += size; break;
    default: return -1;
  }
  if (to < 0 || to > size) return -1;
  file->At = static_cast<size_t>(to);
  return to;
}

AVPixelFormat TargetFormat(int32_t bits) {
  switch (bits) {
    case 32: return AV_PIX_FMT_BGRA;
    case 16: return AV_PIX_FMT_RGB565LE;
    default: return AV_PIX_FMT_BGR24;  // 24, and 8 through the palette
  }
}

// The fourth byte of a 32-bit pixel is unused and stays 0; two pixels a word.
void ClearUnusedBytes(uint8_t* pixels, int32_t count) {
  int32_t i = 0;
  for (; i + 2 <= count; i += 2) {
    uint64_t pair;
    std::memcpy(&pair, pixels + static_cast<size_t>(i) * 4, 8);
    pair &= 0x00FFFFFF00FFFFFFull;
    std::memcpy(pixels + static_cast<size_t>(i) * 4, &pair, 8);
  }
  if (i < count) pixels[static_cast<size_t>(i) * 4 + 3] = 0;
}

// The clip as FFmpeg holds it.
class DecodedClip final : public Clip {
 public:
  ~DecodedClip() override {
    sws_freeContext(Scaler);
    av_frame_free(&Frames[0]);
    av_frame_free(&Frames[1]);
    avcodec_free_context(&Decoder);
    for (AVPacket*& packet : Packets) av_packet_free(&packet);
    avformat_close_input(&Format);
    if (Io != nullptr) av_freep(&Io->buffer);
    avio_context_free(&Io);
  }

  size_t FrameCount() const override { return Packets.size(); }
  double FrameTime(size_t frame) const override { return Times[frame]; }
  double Duration() const override { return Length; }
  int32_t Width() const override { return Decoder->width; }
  int32_t Height() const override { return Decoder->height; }
  bool Decode(size_t frame) override;
  void Present(size_t frame, Surface& surface, int32_t x, int32_t y, int32_t width, int32_t height, int32_t clipLeft,
               int32_t clipTop, int32_t clipRight, int32_t clipBottom) override;

  MemoryFile File;
  AVIOContext* Io = nullptr;
  AVFormatContext* Format = nullptr;
  AVCodecContext* Decoder = nullptr;
  // Two frames, so that one can be shown while the next is decoded.
  AVFrame* Frames[2] = {nullptr, nullptr};
  bool Have[2] = {false, false};
  SwsContext* Scaler = nullptr;
  std::vector<AVPacket*> Packets;
  std::vector<double> Times;
  double Length = 0;
  bool FullRange = false;
  std::vector<uint8_t> Scaled;
  // 8-bit screens: the palette index nearest to each 5-5-5 colour, for the palette it was made of.
  std::array<PaletteEntry, 256> MappedPalette{};
  std::vector<uint8_t> Nearest;
};

}  // namespace

HResult Clip::Open(std::vector<uint8_t> bytes, std::unique_ptr<Clip>& out) {
  av_log_set_level(AV_LOG_QUIET);
  auto d = std::make_unique<DecodedClip>();
  d->File.Bytes = std::move(bytes);
  auto* buffer = static_cast<uint8_t*>(av_malloc(IoBufferSize));
  if (buffer == nullptr) return EFail;
  d->Io = avio_alloc_context(buffer, IoBufferSize, 0, &d->File, ReadMemory, nullptr, SeekMemory);
  if (d->Io == nullptr) {
    av_free(buffer);
    return EFail;
  }
  d->Format = avformat_alloc_context();
  if (d->Format == nullptr) return EFail;
  d->Format->pb = d->Io;
  d->Format->flags |= AVFMT_FLAG_CUSTOM_IO;
  // On failure avformat_open_input frees the context itself.
  if (avformat_open_input(&d->Format, nullptr, av_find_input_format("avi"), nullptr) < 0) return VfwEUnknownFileType;

  const int index = av_find_best_stream(d->Format, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (index < 0) return VfwECannotRender;
  const AVStream* stream = d->Format->streams[index];
  const AVCodecParameters* parameters = stream->codecpar;
  const AVCodec* codec = avcodec_find_decoder(parameters->codec_id);
  if (codec == nullptr) return VfwECannotRender;
  if (parameters->width <= 0 || parameters->height <= 0 || parameters->width > MaxSide ||
      parameters->height > MaxSide || stream->time_base.num <= 0 || stream->time_base.den <= 0)
    return VfwEInvalidFileFormat;

  // Every packet of the video, read now: a clip cut short shows here, before anything plays.
  const double unit = av_q2d(stream->time_base);
  AVPacket* packet = av_packet_alloc();
  if (packet == nullptr) return EFail;
  int64_t last = 0;
  while (av_read_frame(d->Format, packet) >= 0) {
    if (packet->stream_index != index || packet->size <= 0) {
      av_packet_unref(packet);
      continue;
    }
    int64_t stamp = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
    if (stamp == AV_NOPTS_VALUE || stamp < last) stamp = last;
    last = stamp + std::max<int64_t>(1, packet->duration);
    d->Times.push_back(static_cast<double>(stamp) * unit);
    d->Packets.push_back(packet);
    packet = av_packet_alloc();
    if (packet == nullptr) return EFail;
  }
  av_packet_free(&packet);
  if (d->Packets.empty() || static_cast<int64_t>(d->Packets.size()) < stream->nb_frames) return VfwEInvalidFileFormat;
  d->Length = static_cast<double>(last) * unit;
  if (!std::isfinite(d->Length) || d->Length <= 0 || d->Length > MaxSeconds) return VfwEInvalidFileFormat;

  d->Decoder = avcodec_alloc_context3(codec);
  d->Frames[0] = av_frame_alloc();
  d->Frames[1] = av_frame_alloc();
  if (d->Decoder == nullptr || d->Frames[0] == nullptr || d->Frames[1] == nullptr) return EFail;
  d->Decoder->thread_count = 1;
  if (avcodec_parameters_to_context(d->Decoder, parameters) < 0 || avcodec_open2(d->Decoder, codec, nullptr) < 0)
    return VfwECannotRender;

  // The first frame must decode, or nothing would ever be shown.
  if (!d->Decode(0)) return VfwEInvalidFileFormat;
  avcodec_flush_buffers(d->Decoder);
  d->Have[0] = false;
  out = std::move(d);
  return SOk;
}

bool DecodedClip::Decode(size_t frame) {
  if (frame >= Packets.size() || avcodec_send_packet(Decoder, Packets[frame]) < 0) return false;
  const size_t slot = frame % 2;
  AVFrame* f = Frames[slot];
  Have[slot] = false;
  if (avcodec_receive_frame(Decoder, f) < 0) return false;
  // A frame whose size or format changed past what the scaler takes is not shown.
  Have[slot] = f->width > 0 && f->height > 0 && f->width <= MaxSide && f->height <= MaxSide && f->format >= 0;
  return Have[slot];
}

void DecodedClip::Present(size_t frame, Surface& surface, int32_t x, int32_t y, int32_t width, int32_t height,
                          int32_t clipLeft, int32_t clipTop, int32_t clipRight, int32_t clipBottom) {
  const size_t slot = frame % 2;
  const AVFrame* f = Frames[slot];
  if (!Have[slot] || width <= 0 || height <= 0 || width > MaxSide || height > MaxSide) return;
  const int32_t left = std::max({x, clipLeft, 0});
  const int32_t top = std::max({y, clipTop, 0});
  const int32_t right = std::min({x + width, clipRight, surface.Width});
  const int32_t bottom = std::min({y + height, clipBottom, surface.Height});
  if (left >= right || top >= bottom) return;

  const AVPixelFormat format = TargetFormat(surface.Bits);
  // Full-range JPEG pictures are their plain YUV layouts with the range set apart, which keeps
  // the scaler on its fast converters.
  auto source = static_cast<AVPixelFormat>(f->format);
  const bool fullRange = source == AV_PIX_FMT_YUVJ420P || source == AV_PIX_FMT_YUVJ422P || source == AV_PIX_FMT_YUVJ444P;
  if (source == AV_PIX_FMT_YUVJ420P) source = AV_PIX_FMT_YUV420P;
  if (source == AV_PIX_FMT_YUVJ422P) source = AV_PIX_FMT_YUV422P;
  if (source == AV_PIX_FMT_YUVJ444P) source = AV_PIX_FMT_YUV444P;
  SwsContext* before = Scaler;
  Scaler = sws_getCachedContext(Scaler, f->width, f->height, source, width, height, format, SWS_FAST_BILINEAR,
                                nullptr, nullptr, nullptr);
  if (Scaler == nullptr) return;
  if (Scaler != before || fullRange != FullRange) {
    FullRange = fullRange;
    int* table = nullptr;
    int* tableOut = nullptr;
    int rangeIn = 0, rangeOut = 0, brightness = 0, contrast = 0, saturation = 0;
    if (sws_getColorspaceDetails(Scaler, &table, &rangeIn, &tableOut, &rangeOut, &brightness, &contrast,
                                 &saturation) >= 0)
      sws_setColorspaceDetails(Scaler, table, fullRange ? 1 : 0, tableOut, rangeOut, brightness, contrast, saturation);
  }
  const int bytes = surface.BytesPerPixel();
  // A window wholly on the screen in a depth the scaler writes: straight into the frame buffer.
  if (surface.Bits != 8 && left == x && top == y && right == x + width && bottom == y + height) {
    uint8_t* planes[4] = {surface.Row(y) + static_cast<size_t>(x) * static_cast<size_t>(bytes), nullptr, nullptr,
                          nullptr};
    const int strides[4] = {surface.Pitch, 0, 0, 0};
    sws_scale(Scaler, f->data, f->linesize, 0, f->height, planes, strides);
    if (surface.Bits == 32)
      for (int32_t row = top; row < bottom; ++row) ClearUnusedBytes(surface.Row(row) + static_cast<size_t>(left) * 4, width);
    return;
  }
  const int pixel = surface.Bits == 32 ? 4 : surface.Bits == 16 ? 2 : 3;
  const int stride = width * pixel;
  Scaled.resize(static_cast<size_t>(stride) * static_cast<size_t>(height));
  uint8_t* planes[4] = {Scaled.data(), nullptr, nullptr, nullptr};
  const int strides[4] = {stride, 0, 0, 0};
  sws_scale(Scaler, f->data, f->linesize, 0, f->height, planes, strides);

  if (surface.Bits == 8 && (Nearest.empty() || std::memcmp(MappedPalette.data(), surface.Palette.data(), sizeof MappedPalette) != 0)) {
    Nearest.assign(32768, 0);
    for (uint32_t colour = 0; colour < 32768; ++colour) {
      const int r = static_cast<int>((colour >> 10) & 31) * 255 / 31;
      const int g = static_cast<int>((colour >> 5) & 31) * 255 / 31;
      const int b = static_cast<int>(colour & 31) * 255 / 31;
      int best = 0;
      int bestDistance = INT32_MAX;
      for (int i = 0; i < 256; ++i) {
        const PaletteEntry& e = surface.Palette[static_cast<size_t>(i)];
        const int distance = (e.Red - r) * (e.Red - r) + (e.Green - g) * (e.Green - g) + (e.Blue - b) * (e.Blue - b);
        if (distance < bestDistance) bestDistance = distance, best = i;
      }
      Nearest[colour] = static_cast<uint8_t>(best);
    }
    MappedPalette = surface.Palette;
  }

  for (int32_t row = top; row < bottom; ++row) {
    const uint8_t* from = Scaled.data() + static_cast<size_t>(row - y) * static_cast<size_t>(stride) +
                          static_cast<size_t>(left - x) * static_cast<size_t>(pixel);
    uint8_t* to = surface.Row(row) + static_cast<size_t>(left) * static_cast<size_t>(bytes);
    const auto count = static_cast<size_t>(right - left);
    if (surface.Bits == 8) {
      for (size_t i = 0; i < count; ++i, from += 3)
        to[i] = Nearest[static_cast<size_t>((from[2] >> 3) << 10 | (from[1] >> 3) << 5 | from[0] >> 3)];
    } else if (surface.Bits == 32) {
      std::memcpy(to, from, count * 4);
      ClearUnusedBytes(to, static_cast<int32_t>(count));
    } else {
      std::memcpy(to, from, count * static_cast<size_t>(bytes));
    }
  }
}

}  // namespace sim
}  // namespace platform

// The module's one entry point; the name is OpenClipSymbol.
extern "C" __attribute__((visibility("default"))) platform::HResult RasterScanOpenClip(
    std::vector<uint8_t>& bytes, std::unique_ptr<platform::sim::Clip>& out) {
  return platform::sim::Clip::Open(std::move(bytes), out);
}
