// PNG and JPEG files on OpenCV's coders.
#include "apps/pictures/picture_file.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <system_error>
#include <vector>

#include "apps/output/output_file.h"
#include "apps/support/failure.h"
#include "apps/support/input_file.h"
#include "apps/support/quiet_errors.h"

namespace tarnkit {
namespace {

using Bytes = std::vector<unsigned char>;

// More than any picture that passes the limit on sides needs; the decoder counts bytes in an int.
constexpr std::size_t kLargestFile = std::size_t{1} << 30;

template <std::size_t kCount>
bool startsWith(const Bytes& bytes, const std::array<unsigned char, kCount>& signature) {
  return bytes.size() >= kCount && std::equal(signature.begin(), signature.end(), bytes.begin());
}

bool isPng(const Bytes& bytes) {
  return startsWith<8>(bytes, {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'});
}

bool isJpeg(const Bytes& bytes) { return startsWith<3>(bytes, {0xFF, 0xD8, 0xFF}); }

// Whether the picture's end marker is there. The decoder makes up what a shortened file lacks, so this
// is the only sign of it.
bool hasJpegEnd(const Bytes& bytes) {
  std::size_t at = 2;
  while (at + 1 < bytes.size()) {
    const unsigned marker = bytes[at + 1];
    if (bytes[at] != 0xFF || marker == 0xFF) {
      ++at;
      continue;
    }
    if (marker == 0xD9) return true;
    at += 2;
    // Stuffed zeros and restart markers in coded data are two bytes. All others open a segment, whose
    // bytes may look like markers, so it is skipped.
    const bool has_segment = marker > 0x01 && (marker < 0xD0 || marker > 0xD8);
    if (!has_segment) continue;
    if (at + 1 >= bytes.size()) break;
    at += 256u * bytes[at] + bytes[at + 1];
  }
  return false;
}

cv::Mat decode(const Bytes& bytes, int flags) {
  const QuietErrors quiet;
  try {
    return cv::imdecode(bytes, flags);
  } catch (const cv::Exception&) {
    return {};
  }
}

Picture fromMat(const cv::Mat& decoded) {
  cv::Mat mat = decoded;
  if (mat.depth() == CV_16U) mat.convertTo(mat, CV_8U, 1.0 / 257.0);
  PixelLayout layout = PixelLayout::kGray;
  if (mat.channels() == 3) {
    layout = PixelLayout::kRgb;
    cv::cvtColor(mat, mat, cv::COLOR_BGR2RGB);
  } else if (mat.channels() == 4) {
    layout = PixelLayout::kRgba;
    cv::cvtColor(mat, mat, cv::COLOR_BGRA2RGBA);
  }
  Picture picture{mat.cols, mat.rows, layout, {}};
  for (int y = 0; y < mat.rows; ++y)
    picture.bytes.insert(picture.bytes.end(), mat.ptr(y),
                         mat.ptr(y) + static_cast<std::ptrdiff_t>(mat.elemSize()) * mat.cols);
  return picture;
}

}  // namespace

Picture readPicture(const std::string& path, JpegTurn turn) {
  const Bytes bytes = readFile(path, kLargestFile);
  const bool png = isPng(bytes);
  if (!png && !isJpeg(bytes))
    throw Failure(inputName(path), "is neither PNG nor JPEG (a raw frame needs --format and --frame)");
  if (!png && !hasJpegEnd(bytes)) throw Failure(inputName(path), "is cut short");
  // Only PNG has alpha to keep; the flag that keeps it would leave JPEG pictures lying on their side.
  const int jpeg_flags = turn == JpegTurn::kStored ? cv::IMREAD_ANYCOLOR | cv::IMREAD_IGNORE_ORIENTATION
                                                   : cv::IMREAD_ANYCOLOR;
  const cv::Mat decoded = decode(bytes, png ? cv::IMREAD_UNCHANGED : jpeg_flags);
  if (decoded.empty()) throw Failure(inputName(path), "is damaged or too large");
  if (std::max(decoded.cols, decoded.rows) > kLargestPictureSide)
    throw Failure(inputName(path),
                  "has more than " + std::to_string(kLargestPictureSide) + " pixels on a side");
  return fromMat(decoded);
}

bool isPictureFile(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) return false;
  const Bytes begin = readFile(path, 8);
  return isPng(begin) || isJpeg(begin);
}

void writePng(const std::string& path, const cv::Mat& picture) {
  Bytes bytes;
  if (!cv::imencode(".png", picture, bytes)) throw Failure(path, "the picture cannot be coded as PNG");
  writeFile(path, {}, bytes.data(), bytes.size());
}

void writePicture(const std::string& path, const Picture& picture) {
  const int planes = picture.layout == PixelLayout::kPlanar ? 3 : 1;
  const int type = picture.layout == PixelLayout::kRgb    ? CV_8UC3
                   : picture.layout == PixelLayout::kRgba ? CV_8UC4
                                                          : CV_8UC1;
  // The matrix is only read from.
  const cv::Mat mat(planes * picture.height, picture.width, type,
                    const_cast<std::uint8_t*>(picture.bytes.data()));
  cv::Mat bgr = mat;
  if (picture.layout == PixelLayout::kRgb) cv::cvtColor(mat, bgr, cv::COLOR_RGB2BGR);
  if (picture.layout == PixelLayout::kRgba) cv::cvtColor(mat, bgr, cv::COLOR_RGBA2BGRA);
  writePng(path, bgr);
}

}  // namespace tarnkit
