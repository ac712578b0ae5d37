// tarnkit warp: one picture through an affine matrix.
#include <cmath>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "apps/commands/command.h"
#include "apps/commands/options.h"
#include "apps/output/output_file.h"
#include "apps/pictures/operations.h"
#include "apps/pictures/picture_file.h"
#include "apps/support/failure.h"
#include "apps/support/input_file.h"
#include "apps/tensor/tensor_file.h"
#include "tn_checked.h"

namespace tarnkit {
namespace {

struct Variant {
  void (*warp)(const TarnCPU::Mat&, const TarnCPU::Mat&, Tarn::checked::ConstFloats);
  int smallest_side;
};

const std::map<std::string, Variant>& variants() {
  static const std::map<std::string, Variant> all = {{"affine", {Tarn::checked::affine, 1}},
                                                     {"optimized", {Tarn::checked::affine_optimized, 1}},
                                                     {"sse", {Tarn::checked::affine_sse, 2}},
                                                     {"sse-hwc", {Tarn::checked::affine_sse_hwc, 2}}};
  return all;
}

struct WarpOptions {
  std::string input, output;
  std::vector<float> matrix;
  Variant variant = variants().at("affine");
};

int warp(const WarpOptions& options) {
  for (const float entry : options.matrix)
    if (!std::isfinite(entry)) throw Failure("--matrix", "values must be finite");
  requireDistinctFiles({options.input}, {options.output});
  const Picture picture = toPlanar(readPicture(options.input));
  const int w = picture.width, h = picture.height, least = options.variant.smallest_side;
  if (w < least || h < least)
    throw Failure(inputName(options.input), "is " + sizeText({w, h}) +
                                                ", too small for this variant, which takes " +
                                                sizeText({least, least}) + " and up");
  const std::vector<float> source(picture.bytes.begin(), picture.bytes.end());
  std::vector<float> result(source.size());
  const auto view = [&](const std::vector<float>& values) {
    return Tarn::checked::from_float_array({values.data(), values.size() * sizeof(float)}, w, h, 3,
                                           TarnCPU::TensorShape::CHW, nullptr);
  };
  const TarnCPU::Mat warped = view(result);
  options.variant.warp(view(source), warped,
                       {options.matrix.data(), options.matrix.size() * sizeof(float)});
  writeTensor(options.output, warped);
  return 0;
}

}  // namespace

void addWarpCommand(CommandLine& tool) {
  auto [options, values] = tool.add(
      "warp", "Turn, scale, shift and shear one picture by an affine matrix",
      "The variants differ in what is outside the picture. affine and optimized: black, as are the\n"
      "picture's first row and column; optimized skews pictures that are not square. sse: mixtures of\n"
      "the two pixels at the edge. sse-hwc: the edge goes on.\n"
      "JPEG pictures are warped upright, however the camera was held.\n\n"
      "Examples: tarnkit warp face.png upright.png --matrix 0.9,0.2,0,-0.2,0.9,0 --variant sse-hwc\n"
      "          tarnkit warp photo.jpg mirrored.npy --matrix -1,0,0,0,1,0",
      warp);
  options.add("IN", values.input, "PNG or JPEG; - reads standard input; alpha is dropped").required();
  options
      .add("OUT", values.output,
           "NumPy file (.npy) of float32 values of shape (3, height, width), or PNG file (.png) "
           "with values rounded and brought into 0 to 255; - writes NumPy to standard output")
      .required()
      .check(tensorFileFault);
  options
      .addFloats("--matrix", values.matrix, 6,
                 "The pixel at (x, y) of OUT is the one at (Ax + By + C, Dx + Ey + F) of IN, where -1 "
                 "to 1 spans the picture from edge to edge, left to right and top to bottom")
      .typeName("A,B,C,D,E,F")
      .required();
  options.addChoice("--variant", values.variant, variants(),
                    "Which of the library's warps (default: affine)");
}

}  // namespace tarnkit
