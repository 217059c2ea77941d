#include "ClockClip.h"

#include <cmath>
#include <cstdint>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

namespace media {
namespace {

// The client area of an 80x25 console: the clip fills the video window without scaling.
constexpr int Width = 640;
constexpr int Height = 400;

// An RGB picture drawn a pixel at a time; clipped at the edges.
struct Canvas {
  std::vector<uint8_t> Rgb = std::vector<uint8_t>(static_cast<size_t>(Width * Height * 3));
  void Put(int x, int y, uint8_t r, uint8_t g, uint8_t b) {
    if (x < 0 || y < 0 || x >= Width || y >= Height) return;
    uint8_t* at = &Rgb[static_cast<size_t>((y * Width + x) * 3)];
    at[0] = r;
    at[1] = g;
    at[2] = b;
  }
  void Fill(uint8_t r, uint8_t g, uint8_t b) {
    for (int y = 0; y < Height; ++y)
      for (int x = 0; x < Width; ++x) Put(x, y, r, g, b);
  }
  void Disc(int cx, int cy, int radius, uint8_t r, uint8_t g, uint8_t b) {
    for (int y = -radius; y <= radius; ++y)
      for (int x = -radius; x <= radius; ++x)
        if (x * x + y * y <= radius * radius) Put(cx + x, cy + y, r, g, b);
  }
  // A thick line as a row of small discs.
  void Line(double x0, double y0, double x1, double y1, int thickness, uint8_t r, uint8_t g, uint8_t b) {
    const int steps = static_cast<int>(std::hypot(x1 - x0, y1 - y0)) + 1;
    for (int i = 0; i <= steps; ++i) {
      const double t = static_cast<double>(i) / steps;
      Disc(static_cast<int>(std::lround(x0 + (x1 - x0) * t)), static_cast<int>(std::lround(y0 + (y1 - y0) * t)),
           thickness, r, g, b);
    }
  }
};

// Digits in a 3x5 grid, one row a byte, the leftmost column the highest of three bits.
constexpr uint8_t DigitRows[10][5] = {
    {7, 5, 5, 5, 7}, {2, 6, 2, 2, 7}, {7, 1, 7, 4, 7}, {7, 1, 7, 1, 7}, {5, 5, 7, 1, 1},
    {7, 4, 7, 1, 7}, {7, 4, 7, 5, 7}, {7, 1, 1, 1, 1}, {7, 5, 7, 5, 7}, {7, 5, 7, 1, 7},
};

void DrawNumber(Canvas& canvas, int number, int x, int y, int scale) {
  const int digits[3] = {number / 100 % 10, number / 10 % 10, number % 10};
  for (int d = 0; d < 3; ++d)
    for (int row = 0; row < 5; ++row)
      for (int column = 0; column < 3; ++column)
        if (DigitRows[digits[d]][row] & (4 >> column))
          for (int sy = 0; sy < scale; ++sy)
            for (int sx = 0; sx < scale; ++sx)
              canvas.Put(x + (d * 4 + column) * scale + sx, y + row * scale + sy, 255, 255, 0);
}

// The face with its twelve marks, the hand one turn a second, the frame's number below.
void DrawFrame(Canvas& canvas, int frame, int framesPerSecond) {
  constexpr double Pi = 3.14159265358979323846;
  canvas.Fill(16, 24, 64);
  const int cx = Width / 2;
  const int cy = Height / 2 - 24;
  const int radius = 150;
  canvas.Disc(cx, cy, radius, 230, 230, 230);
  canvas.Disc(cx, cy, radius - 6, 40, 40, 40);
  for (int mark = 0; mark < 12; ++mark) {
    const double angle = mark * Pi / 6;
    canvas.Line(cx + std::sin(angle) * (radius - 20), cy - std::cos(angle) * (radius - 20),
                cx + std::sin(angle) * (radius - 10), cy - std::cos(angle) * (radius - 10), 2, 230, 230, 230);
  }
  const double angle = 2 * Pi * frame / framesPerSecond;
  canvas.Line(cx, cy, cx + std::sin(angle) * (radius - 14), cy - std::cos(angle) * (radius - 14), 3, 220, 40, 40);
  canvas.Disc(cx, cy, 6, 220, 40, 40);
  DrawNumber(canvas, frame, cx - 33, Height - 50, 6);
}

// Frees what the writer made, whichever way it ends.
struct Writer {
  AVFormatContext* Format = nullptr;
  AVCodecContext* Codec = nullptr;
  AVFrame* Frame = nullptr;
  AVPacket* Packet = nullptr;
  SwsContext* Scaler = nullptr;
  bool Opened = false;
  ~Writer() {
    sws_freeContext(Scaler);
    av_packet_free(&Packet);
    av_frame_free(&Frame);
    avcodec_free_context(&Codec);
    if (Format != nullptr) {
      if (Opened) avio_closep(&Format->pb);
      avformat_free_context(Format);
    }
  }
};

// Sends one frame (or the flush, with null) and writes every packet that comes out.
bool Encode(Writer& w, AVStream* stream, AVFrame* frame) {
  if (avcodec_send_frame(w.Codec, frame) < 0) return false;
  for (;;) {
    const int result = avcodec_receive_packet(w.Codec, w.Packet);
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return true;
    if (result < 0) return false;
    av_packet_rescale_ts(w.Packet, w.Codec->time_base, stream->time_base);
    w.Packet->stream_index = stream->index;
    if (av_interleaved_write_frame(w.Format, w.Packet) < 0) return false;
  }
}

}  // namespace

bool WriteClockClip(const std::string& path, std::string& error) {
  av_log_set_level(AV_LOG_ERROR);  // the errors say it, not the libraries' chatter
  Writer w;
  // Motion JPEG: every frame stands alone, and Windows has a decoder for it in the box.
  const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
  if (codec == nullptr || avformat_alloc_output_context2(&w.Format, nullptr, "avi", path.c_str()) < 0) {
    error = "no Motion JPEG encoder or AVI writer in libavcodec";
    return false;
  }
  AVStream* stream = avformat_new_stream(w.Format, nullptr);
  w.Codec = avcodec_alloc_context3(codec);
  w.Frame = av_frame_alloc();
  w.Packet = av_packet_alloc();
  if (stream == nullptr || w.Codec == nullptr || w.Frame == nullptr || w.Packet == nullptr) {
    error = "out of memory";
    return false;
  }
  w.Codec->width = Width;
  w.Codec->height = Height;
  w.Codec->pix_fmt = AV_PIX_FMT_YUVJ420P;
  w.Codec->time_base = AVRational{1, ClockClipFramesPerSecond};
  w.Codec->framerate = AVRational{ClockClipFramesPerSecond, 1};
  w.Codec->flags |= AV_CODEC_FLAG_QSCALE;
  w.Codec->global_quality = FF_QP2LAMBDA * 4;
  if (w.Format->oformat->flags & AVFMT_GLOBALHEADER) w.Codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  if (avcodec_open2(w.Codec, codec, nullptr) < 0 || avcodec_parameters_from_context(stream->codecpar, w.Codec) < 0) {
    error = "cannot open the Motion JPEG encoder";
    return false;
  }
  stream->time_base = w.Codec->time_base;
  if (avio_open(&w.Format->pb, path.c_str(), AVIO_FLAG_WRITE) < 0) {
    error = "cannot write " + path;
    return false;
  }
  w.Opened = true;
  if (avformat_write_header(w.Format, nullptr) < 0) {
    error = "cannot write the AVI header";
    return false;
  }
  w.Frame->format = w.Codec->pix_fmt;
  w.Frame->width = Width;
  w.Frame->height = Height;
  w.Scaler = sws_getContext(Width, Height, AV_PIX_FMT_RGB24, Width, Height, AV_PIX_FMT_YUVJ420P, SWS_BICUBIC,
                            nullptr, nullptr, nullptr);
  if (av_frame_get_buffer(w.Frame, 0) < 0 || w.Scaler == nullptr) {
    error = "out of memory";
    return false;
  }
  Canvas canvas;
  for (int frame = 0; frame < ClockClipFrames; ++frame) {
    DrawFrame(canvas, frame, ClockClipFramesPerSecond);
    if (av_frame_make_writable(w.Frame) < 0) return false;
    const uint8_t* source[1] = {canvas.Rgb.data()};
    const int sourceStride[1] = {Width * 3};
    sws_scale(w.Scaler, source, sourceStride, 0, Height, w.Frame->data, w.Frame->linesize);
    w.Frame->pts = frame;
    if (!Encode(w, stream, w.Frame)) {
      error = "cannot encode frame " + std::to_string(frame);
      return false;
    }
  }
  if (!Encode(w, stream, nullptr) || av_write_trailer(w.Format) < 0) {
    error = "cannot finish " + path;
    return false;
  }
  return true;
}

}  // namespace media
