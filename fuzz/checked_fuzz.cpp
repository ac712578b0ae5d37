// The checked routines with any sizes, rectangles and views: each call is refused with a sentence, or
// stays inside blocks of exactly the bytes that it was told of.
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>

#include "fuzz/fuzz_input.h"
#include "tn_checked.h"

namespace {

namespace checked = Tarn::checked;
using checked::Bytes;
using checked::ConstBytes;
using checked::Image;
using tn_fuzz::FuzzInput;

constexpr std::size_t kMostBytes = 6000;

int number(FuzzInput& input) {
  switch (input.byte() % 8) {
    case 0:
      return static_cast<int>(input.word());
    case 1: {
      // About powers of two and products that wrap.
      const std::uint32_t power = 1u << (input.byte() % 32);
      return static_cast<int>(power + static_cast<std::uint32_t>(input.between(-2, 2)));
    }
    case 2:
      return input.between(-3, 3);
    default:
      return input.between(1, 48);
  }
}

// Blocks on the heap of their own, or parts of one block that may overlap; sometimes null.
class Memory {
 public:
  explicit Memory(FuzzInput& input) : input_(input), shared_(input.byte() % 8 == 0) {
    if (shared_) block_ = newBlock(kMostBytes);
  }
  Bytes next() {
    const std::size_t bytes = static_cast<std::size_t>(input_.between(0, kMostBytes));
    if (input_.byte() % 32 == 0) return {nullptr, bytes};
    if (shared_) {
      const std::size_t at = static_cast<std::size_t>(input_.between(0, kMostBytes));
      return {block_.get() + at, std::min(bytes, kMostBytes - at)};
    }
    blocks_.push_back(newBlock(bytes));
    return {blocks_.back().get(), bytes};
  }

 private:
  using Block = std::unique_ptr<unsigned char[]>;
  static Block newBlock(std::size_t bytes) {
    Block block(new unsigned char[bytes]);
    std::fill_n(block.get(), bytes, std::uint8_t{0x5A});
    return block;
  }

  FuzzInput& input_;
  bool shared_;
  Block block_;
  std::vector<Block> blocks_;
};

ConstBytes readable(const Bytes& bytes) { return {bytes.data, bytes.bytes}; }
template <class T>
checked::View<T> floats(const Bytes& bytes) {
  return {reinterpret_cast<T*>(bytes.data), bytes.bytes};
}

Image image(FuzzInput& input, Memory& memory) {
  const Bytes bytes = memory.next();
  const int format = input.byte() % 8 == 0 ? number(input) : input.between(1, 13);
  return {{input.word(), format, number(input), number(input), 0, bytes.data}, bytes.bytes};
}

void pixels(FuzzInput& input, Memory& memory) {
  constexpr void (*kOfSize[])(ConstBytes, int, int, Bytes) = {
      checked::nv12_to_rgb_fast_asm,
      checked::yuv420sp_to_rgb_fast_asm,
      checked::yuv420f_to_rgb,
      checked::rotate90_intrinsics_3_channel,
      checked::rotate90_intrinsics_4_channel,
      checked::anti_rotate90_intrinsics_3_channel,
      checked::anti_rotate90_intrinsics_4_channel};
  constexpr void (*kOfCount[])(ConstBytes, Bytes, int) = {
      checked::getGray_from_BGRA_HWC,    checked::getGray_from_RGBA_HWC,
      checked::getGray_from_RGB_HWC,     checked::getRGB_CHW_from_BGRA_HWC,
      checked::getRGB_CHW_from_RGBA_HWC, checked::getRGB_CHW_from_RGB_HWC};
  const ConstBytes src = readable(memory.next());
  const Bytes dst = memory.next();
  const int routine = input.between(0, 14), w = number(input), h = number(input);
  if (routine < 7)
    kOfSize[routine](src, w, h, dst);
  else if (routine < 13)
    kOfCount[routine - 7](src, dst, w);
  else
    (routine == 13 ? checked::flip_horizontal : checked::flip_vertical)(src, w, h, dst, number(input));
}

void rectangles(FuzzInput& input, Memory& memory) {
  const ConstBytes src = readable(memory.next());
  const Bytes dst = memory.next();
  int n[9];
  for (int& value : n) value = number(input);
  constexpr void (*kResize[])(ConstBytes, int, int, Bytes, int, int) = {
      checked::resize_bilinear_c1, checked::resize_bilinear_c2, checked::resize_bilinear_c3,
      checked::resize_bilinear_c4, checked::resize_nearest_c1,  checked::cnn_resize_bilinear_c2};
  constexpr void (*kCrop[])(ConstBytes, int, int, Bytes, int, int, int, int, int, int) = {
      checked::crop_resize_nearest_c1, checked::crop_resize_nearest_c3, checked::crop_resize_nearest_c4};
  const int routine = input.between(0, 10);
  if (routine == 0)
    checked::cut_sub_img_inhwc_outhwc(src, n[0], n[1], dst, n[2], n[3], n[4], n[5], n[6]);
  else if (routine == 1)
    checked::cut_sub_img_inchw_outchw({reinterpret_cast<const float*>(src.data), src.bytes}, n[0], n[1],
                                      floats<float>(dst), n[2], n[3], n[4], n[5], n[6]);
  else if (routine < 8)
    kResize[routine - 2](src, n[0], n[1], dst, n[2], n[3]);
  else
    kCrop[routine - 8](src, n[0], n[1], dst, n[2], n[3], n[4], n[5], n[6], n[7]);
}

void toolkit(FuzzInput& input, Memory& memory) {
  const Image in = image(input, memory), out = image(input, memory);
  const int routine = input.between(0, 3);
  int n[6];
  for (int& value : n) value = number(input);
  using Kit = checked::TarnYUVToolKit;
  if (routine == 0) return Kit::Convert(in, out, Tarn::_ConvertMatrixFromYUV());
  if (routine < 3)
    return (routine == 1 ? Kit::Crop : Kit::Crop_YUVI420)(in, out, n[0], n[1], n[2], n[3]);
  // The constructor's memory grows with the output and is the caller's to bound; so are rows that are
  // much longer than the blocks here.
  const bool bounded = n[4] < 1 || n[5] < 1 || std::int64_t{n[4]} * n[5] <= 4096;
  if (!bounded || (n[0] > 4096 && n[0] <= checked::kLargestSide)) return;
  // Frames of the kit's own sizes, so that some get through.
  Image frame = in, tensor = out;
  if (input.coin()) {
    frame.record.width = n[0];
    frame.record.height = n[1];
    tensor.record.width = n[4];
    tensor.record.height = n[5];
    tensor.record.pix_fmt = TN_PIX_FMT_CHW_F32;
  }
  Kit kit(n[0], n[1], n[2], n[3], n[4], n[5]);
  kit.convert(frame, tensor);
}

void tensors(FuzzInput& input, Memory& memory) {
  const Bytes bytes = memory.next();
  const int w = number(input), h = number(input);
  if (input.coin()) {
    const int type = input.coin() ? number(input) : input.between(0, 3) << 16 | input.between(0, 9);
    const TarnCPU::Mat mat = checked::from_pixels(readable(bytes), type, w, h);
    FUZZ_CHECK(!mat.empty() && mat.c == 3 && mat.w == w && mat.h == h);
  } else {
    const auto layout = static_cast<TarnCPU::TensorShape::Layout>(input.between(0, 3));
    const TarnCPU::Mat mat =
        checked::from_float_array(floats<const float>(bytes), w, h, number(input), layout, nullptr);
    // Every element can be read.
    float sum = 0.0f;
    for (std::size_t i = 0; i < mat.total(); ++i) sum += static_cast<const float*>(mat.data)[i];
    FUZZ_CHECK(sum == sum);
  }
}

// A tensor whose record may say anything, over a block that has what it says or is none at all.
TarnCPU::Mat tensor(FuzzInput& input, std::vector<std::unique_ptr<float[]>>& blocks) {
  TarnCPU::Mat mat;
  mat.w = number(input);
  mat.h = number(input);
  mat.c = input.coin() ? 3 : number(input);
  mat.layout = input.byte() % 16 == 0 ? number(input) : 1;
  mat.elem_size = input.byte() % 16 == 0 ? input.byte() : 4;
  const std::uint64_t elements =
      mat.w > 0 && mat.h > 0 && mat.c > 0 ? checked::rules::product(mat.w, mat.h, mat.c) : 0;
  if (elements > kMostBytes) return mat;
  blocks.emplace_back(new float[static_cast<std::size_t>(elements)]());
  mat.data = blocks.back().get();
  return mat;
}

void warps(FuzzInput& input, Memory& memory) {
  std::vector<std::unique_ptr<float[]>> blocks;
  const TarnCPU::Mat src = tensor(input, blocks);
  TarnCPU::Mat dst = tensor(input, blocks);
  if (input.coin() && src.data != nullptr && src.w > 0 && src.h > 0) {
    // Sizes that go together, so that some get through.
    dst.w = src.w;
    dst.h = src.h;
    dst.c = src.c;
    blocks.emplace_back(new float[tn_fuzz::count(src.w, src.h, std::max(src.c, 0))]());
    dst.data = blocks.back().get();
  }
  const int routine = input.between(0, 4), width = number(input), height = number(input);
  const std::vector<std::uint8_t> bits = input.bytes(24);
  float matrix[6];
  std::memcpy(matrix, bits.data(), sizeof(matrix));
  constexpr void (*kWarps[])(const TarnCPU::Mat&, const TarnCPU::Mat&, checked::ConstFloats) = {
      checked::affine, checked::affine_optimized, checked::affine_sse, checked::affine_sse_hwc};
  if (routine < 4)
    kWarps[routine](src, dst, {matrix, input.byte() % 16 == 0 ? input.byte() : sizeof(matrix)});
  else
    checked::cover_mid_img_with_littleImg_inMat_outFloatPointer(floats<float>(memory.next()), width,
                                                                height, src);
}

void networkInput(FuzzInput& input, Memory& memory) {
  const Image frame = image(input, memory);
  const Bytes work_a = memory.next(), work_b = memory.next();
  const int width = number(input), height = number(input);
  int corners[4];
  for (int& corner : corners) corner = number(input);
  TarnCPU::Mat out;
  if (input.coin())
    checked::getInMat(frame, out, input.coin() ? 1 : 0, width, height, work_a, work_b);
  else
    checked::getInMat_m1(frame, out, input.coin() ? 1 : 0, width, height, work_a, work_b, corners[0],
                         corners[1], corners[2], corners[3], input.coin());
  FUZZ_CHECK(out.w == width && out.h == height && out.c == 3);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  input.chooseTarget();
  Memory memory(input);
  constexpr void (*kFamilies[])(FuzzInput&, Memory&) = {pixels,  rectangles, toolkit,
                                                        tensors, warps,      networkInput};
  try {
    kFamilies[input.between(0, 5)](input, memory);
  } catch (const std::invalid_argument& fault) {
    const std::string sentence = fault.what();
    FUZZ_CHECK(sentence.find("; ") != std::string::npos && sentence.find('\n') == std::string::npos);
  }
  return 0;
}
