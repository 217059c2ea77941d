// Throughput of the sim's playback graph on the media kit's clip (read, decode, scale to the
// console window and put on a 1024x768x32 screen, on the virtual clock so that no wait counts)
// against reading and decoding the same clip with libavformat and libavcodec alone. Prints frames
// a second of each, best of the rounds (taken in turns), and their ratio (the graph should reach at least 0.8).
//   bench-playback [rounds]
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include "media/ClockClip.h"
#include "platform/playback.h"
#include "platform/sim/world/clock_state.h"
#include "platform/sim/machine.h"

namespace {

using Clock = std::chrono::steady_clock;

// Every frame of the clip through libavcodec; the number decoded.
int DecodeAlone(const std::string& path) {
  AVFormatContext* format = nullptr;
  if (avformat_open_input(&format, path.c_str(), nullptr, nullptr) < 0) return 0;
  const int index = av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  const AVCodec* codec = avcodec_find_decoder(format->streams[index]->codecpar->codec_id);
  AVCodecContext* decoder = avcodec_alloc_context3(codec);
  avcodec_parameters_to_context(decoder, format->streams[index]->codecpar);
  decoder->thread_count = 1;
  avcodec_open2(decoder, codec, nullptr);
  AVPacket* packet = av_packet_alloc();
  AVFrame* frame = av_frame_alloc();
  int frames = 0;
  while (av_read_frame(format, packet) >= 0) {
    if (packet->stream_index == index && avcodec_send_packet(decoder, packet) >= 0)
      while (avcodec_receive_frame(decoder, frame) >= 0) ++frames;
    av_packet_unref(packet);
  }
  av_frame_free(&frame);
  av_packet_free(&packet);
  avcodec_free_context(&decoder);
  avformat_close_input(&format);
  return frames;
}

// The clip played through the graph in the console window, as GPUTest plays it.
int PlayThroughGraph(const std::string& path) {
  platform::GraphBuilder* graph = nullptr;
  platform::BaseFilter* renderer = nullptr;
  platform::CreateFilterGraph(&graph);
  platform::CreateVideoRenderer(&renderer);
  graph->AddFilter(renderer, L"REND");
  const std::wstring file(path.begin(), path.end());
  int frames = 0;
  if (!platform::Failed(graph->RenderFile(file.c_str(), nullptr))) {
    platform::VideoWindow* window = nullptr;
    platform::MediaControl* control = nullptr;
    platform::MediaPosition* position = nullptr;
    graph->QueryVideoWindow(&window);
    graph->QueryMediaControl(&control);
    graph->QueryMediaPosition(&position);
    const platform::Hwnd console = platform::GetConsoleWindow();
    platform::Rect client;
    platform::GetClientRect(console, &client);
    window->put_Owner(console);
    window->SetWindowPosition(0, 0, client.Right, client.Bottom);
    position->put_Rate(2.0);
    control->Run();
    double duration = 0;
    double at = 0;
    position->get_Duration(&duration);
    while (at < duration) position->get_CurrentPosition(&at);
    control->Stop();
    platform::QualProp* quality = nullptr;
    renderer->QueryQualProp(&quality);
    int32_t rate = 0;
    quality->get_AvgFrameRate(&rate);
    frames = static_cast<int>(std::lround(rate * 2.0 / 100));  // hundredths a second over 2 seconds
    quality->Release();
    window->put_Owner(0);
    window->Release();
    control->Release();
    position->Release();
  }
  renderer->Release();
  graph->Release();
  return frames;
}

// Frames a second of one run; every frame of the clip must come through.
template <typename Run>
double FramesPerSecond(const std::string& path, Run run) {
  const auto start = Clock::now();
  const int frames = run(path);
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  if (frames != media::ClockClipFrames) {
    std::fprintf(stderr, "bench-playback: %d frames of %d\n", frames, media::ClockClipFrames);
    std::exit(1);
  }
  return frames / seconds;
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 10;
  char folder[] = "/tmp/raster-scan-bench-playback-XXXXXX";
  if (mkdtemp(folder) == nullptr) return 1;
  const std::string path = std::string(folder) + "/clock.avi";
  std::string error;
  if (!media::WriteClockClip(path, error)) {
    std::fprintf(stderr, "bench-playback: %s\n", error.c_str());
    return 1;
  }
  platform::sim::Machine machine;
  machine.VirtualClock = true;
  platform::sim::SetCurrentMachine(machine);
  platform::sim::ResetClock();

  // The two take turns, so that a machine busy with other work weighs on both alike.
  double alone = 0;
  double graph = 0;
  for (int round = 0; round < rounds; ++round) {
    alone = std::max(alone, FramesPerSecond(path, DecodeAlone));
    graph = std::max(graph, FramesPerSecond(path, PlayThroughGraph));
  }
  std::printf("libavcodec decode alone:        %8.0f frames/s\n", alone);
  std::printf("playback graph decode+present:  %8.0f frames/s\n", graph);
  std::printf("ratio (graph / decode alone):   %8.2f\n", graph / alone);
  std::remove(path.c_str());
  rmdir(folder);
  return 0;
}
