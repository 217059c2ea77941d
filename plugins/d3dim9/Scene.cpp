#include "Scene.h"

#include <cmath>

namespace d3dim9 {

const char* const kPictureNames[TextureCount] = {"COIN.BMP", "BW.BMP", "BLOCKS.BMP"};

namespace {

constexpr float kPi = 3.14159265358979f;

bool TakeMesh(const Helpers& h, int32_t result, d3dx::Mesh& mesh, std::vector<d3dx::Vertex>& out) {
  if (result != 0) return false;
  out.assign(mesh.Vertices, mesh.Vertices + mesh.VertexCount);
  h.FreeMesh(&mesh);
  return !out.empty();
}

}  // namespace

bool Scene::Build(const Helpers& helpers, const std::vector<std::vector<uint8_t>>& pictures, std::string& error) {
  H_ = helpers;
  for (int i = 0; i < TextureCount; ++i) {
    d3dx::Image image;
    const std::vector<uint8_t>& bytes = pictures.at(static_cast<size_t>(i));
    if (H_.DecodeBitmap(bytes.data(), static_cast<uint32_t>(bytes.size()), &image) != 0) {
      error = std::string(kPictureNames[i]) + " is not a picture this library reads";
      return false;
    }
    Texture& t = Textures_[i];
    t.Width = image.Width;
    t.Height = image.Height;
    t.Pixels.assign(image.Pixels, image.Pixels + static_cast<size_t>(image.Width) * static_cast<size_t>(image.Height));
    H_.FreeImage(&image);
  }
  d3dx::Mesh coin, box, floor, shadow;
  if (!TakeMesh(H_, H_.CreateCoin(48, 1.0f, 0.16f, &coin), coin, Coin_) ||
      !TakeMesh(H_, H_.CreateBox(1.0f, &box), box, Box_) || !TakeMesh(H_, H_.CreatePlane(14.0f, 7.0f, &floor), floor, Floor_) ||
      !TakeMesh(H_, H_.CreatePlane(2.0f, 1.0f, &shadow), shadow, Shadow_)) {
    error = "the meshes cannot be made";
    return false;
  }
  // The shadow is the coin's picture in translucent black: its alpha gives the shape.
  for (d3dx::Vertex& v : Shadow_) v.Color = 0x8C000000u;
  return true;
}

void Scene::Camera(int32_t frame, float aspect, d3dx::Matrix& view, d3dx::Matrix& projection) const {
  // The camera circles slowly, so that the blocks pass in front of the floor's squares.
  const float turn = -0.45f + 0.006f * static_cast<float>(frame);
  const d3dx::Vec3 eye{6.5f * std::sin(turn), 3.4f, -6.5f * std::cos(turn)};
  const d3dx::Vec3 at{0, 0.8f, 0};
  const d3dx::Vec3 up{0, 1, 0};
  H_.LookAt(&view, &eye, &at, &up);
  H_.Perspective(&projection, kPi / 3, aspect, 0.5f, 60.0f);
}

std::vector<DrawItem> Scene::Frame(int32_t frame) const {
  std::vector<DrawItem> items;
  d3dx::Matrix m, r;
  DrawItem floor{&Floor_, FloorTexture, {}, {}};
  H_.Identity(&floor.World);
  items.push_back(floor);
  // Four blocks on the corners of a square, the two in front stacked with a turned one on top.
  const float corners[4][2] = {{-2.6f, -1.8f}, {2.6f, -1.8f}, {-2.4f, 2.4f}, {2.4f, 2.4f}};
  for (int i = 0; i < 4; ++i) {
    DrawItem block{&Box_, BlockTexture, {}, {}};
    H_.RotationY(&r, 0.3f * static_cast<float>(i));
    H_.Translation(&m, corners[i][0], 0.5f, corners[i][1]);
    H_.Multiply(&block.World, &r, &m);
    items.push_back(block);
    if (i < 2) {
      H_.Scaling(&block.World, 0.6f, 0.6f, 0.6f);
      H_.RotationY(&r, 0.785f);
      H_.Multiply(&block.World, &block.World, &r);
      H_.Translation(&m, corners[i][0], 1.3f, corners[i][1]);
      H_.Multiply(&block.World, &block.World, &m);
      items.push_back(block);
    }
  }
  // The coin spins about its upright axis and rocks a little.
  const float spin = 0.3f + 0.11f * static_cast<float>(frame);
  DrawItem coin{&Coin_, CoinTexture, {}, {}};
  coin.State.CullBack = true;
  H_.RotationX(&coin.World, 0.15f * std::sin(0.05f * static_cast<float>(frame)));
  H_.RotationY(&r, spin);
  H_.Multiply(&coin.World, &coin.World, &r);
  H_.Translation(&m, 0, 1.45f, 0);
  H_.Multiply(&coin.World, &coin.World, &m);
  items.push_back(coin);
  // The shadow of the upright coin under a light straight above: a narrow oval on the floor.
  DrawItem shadow{&Shadow_, CoinTexture, {}, {}};
  shadow.State.Blend = true;
  shadow.State.DepthWrite = false;
  H_.Scaling(&shadow.World, 0.95f, 1.0f, 0.3f);
  H_.RotationY(&r, spin);
  H_.Multiply(&shadow.World, &shadow.World, &r);
  H_.Translation(&m, 0, 0.01f, 0);
  H_.Multiply(&shadow.World, &shadow.World, &m);
  items.push_back(shadow);
  return items;
}

}  // namespace d3dim9
