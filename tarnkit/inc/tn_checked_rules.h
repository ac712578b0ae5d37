/// \file
/// What the checked routines of tn_checked.h are made of: views, limits, and the checks themselves.
#ifndef TN_CHECKED_RULES_H_
#define TN_CHECKED_RULES_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <stdexcept>
#include <string>

#include "tn_extents.h"
#include "tn_image.h"

namespace Tarn::checked {

/// Memory of the caller's: where it starts and how many bytes there are. Never owns anything.
template <class T>
struct View {
  T* data;            ///< the first element
  std::size_t bytes;  ///< bytes from there on, not elements
};
using ConstBytes = View<const unsigned char>;  ///< bytes to read
using Bytes = View<unsigned char>;             ///< bytes to write
using ConstFloats = View<const float>;         ///< floats to read
using Floats = View<float>;                    ///< floats to write

/// A frame or tensor record and how many bytes there are at its `data`.
struct Image {
  _TN_Image record;   ///< what is there
  std::size_t bytes;  ///< bytes from record.data on
};

/// No side of a picture may be longer: positions are computed in single precision, which tells whole
/// pixels apart up to here.
constexpr int kLargestSide = 1 << 24;
/// No buffer may need more elements (bytes or floats): offsets have 32 bits in places.
constexpr std::uint64_t kMostElements = 0x7fffffff;

/// The checks. Each throws std::invalid_argument with one sentence that names the argument, what it is
/// and what it must be.
namespace rules {

[[noreturn]] inline void refuse(const std::string& sentence) { throw std::invalid_argument(sentence); }

[[noreturn]] inline void refuseValue(const char* name, std::int64_t value, const std::string& wanted) {
  refuse(std::string(name) + " is " + std::to_string(value) + "; it must be " + wanted);
}

inline void within(const char* name, std::int64_t value, std::int64_t least, std::int64_t most) {
  if (value < least || value > most)
    refuseValue(name, value, "from " + std::to_string(least) + " to " + std::to_string(most));
}

struct Named {
  const char* name;
  int value;
};
/// Sides and channels.
inline void sides(std::initializer_list<Named> values) {
  for (const Named& side : values) within(side.name, side.value, 1, kLargestSide);
}

/// What a buffer is for, in words: "a 4x2 NV12 frame", "a 4x2 picture of 3 channels", or "8 RGB pixels"
/// when `height` is 0.
struct Purpose {
  int width, height;
  const char* what;
  int channels = 0;
  const char* format = nullptr;
};

inline std::string needOf(const Purpose& purpose) {
  const std::string width = std::to_string(purpose.width), what = purpose.what;
  if (purpose.height == 0) return width + " " + what + " need ";
  return "a " + width + "x" + std::to_string(purpose.height) + " " +
         (purpose.format != nullptr ? std::string(purpose.format) + " " : "") + what +
         (purpose.channels > 0 ? " of " + std::to_string(purpose.channels) + " channels" : "") +
         " needs ";
}

[[noreturn]] inline void refuseRoom(const char* name, bool null, std::size_t bytes, const Extent& extent,
                                    std::size_t size, const Purpose& purpose) {
  if (extent.end() / size > kMostElements)
    refuse(std::string(name) + " would be too large; " + needOf(purpose) + "more than " +
           std::to_string(kMostElements) + (size == 1 ? " bytes" : " floats"));
  refuse(std::string(name) + (null ? " is null" : " holds " + std::to_string(bytes) + " bytes") + "; " +
         needOf(purpose) + std::to_string(extent.end()));
}

/// The view reaches to the end of the extent, and floats lie where floats may lie.
template <class T>
void room(const char* name, const View<T>& view, const Extent& extent, const Purpose& purpose) {
  if (extent.end() / sizeof(T) > kMostElements || view.data == nullptr || view.bytes < extent.end())
    refuseRoom(name, view.data == nullptr, view.bytes, extent, sizeof(T), purpose);
  if (reinterpret_cast<std::uintptr_t>(view.data) % alignof(T) != 0)
    refuse(std::string(name) + " is not aligned; floats must start at a multiple of " +
           std::to_string(alignof(T)) + " bytes");
}

/// A buffer that must be there whole, though less may be touched of it, or more.
inline Extent whole(const Extent& buffer, const Extent& touched) {
  return {0, std::max(buffer.end(), touched.end())};
}

/// What is touched of two buffers has no byte in common.
inline void apart(const char* name, const void* data, const Extent& extent, const char* other_name,
                  const void* other, const Extent& other_extent) {
  if (extent.bytes == 0 || other_extent.bytes == 0) return;
  const auto a = reinterpret_cast<std::uintptr_t>(data) + extent.offset;
  const auto b = reinterpret_cast<std::uintptr_t>(other) + other_extent.offset;
  if (a < b ? b - a < extent.bytes : a - b < other_extent.bytes)
    refuse(std::string(name) + " overlaps " + other_name + "; the two must lie apart");
}

/// A source and a destination, each with room for what is touched of it, and apart.
template <class Source, class Destination>
void transfer(const View<Source>& src, const Purpose& source, const View<Destination>& dst,
              const Purpose& destination, const TransferExtents& extents) {
  room("src", src, extents.src, source);
  room("dst", dst, extents.dst, destination);
  apart("dst", dst.data, extents.dst, "src", src.data, extents.src);
}

/// Columns x0 to x0 + w - 1 and rows y0 to y0 + h - 1 exist. Sides are checked before.
inline void inside(int x0, int y0, int w, int h, int src_w, int src_h) {
  if (x0 >= 0 && y0 >= 0 && w <= src_w && h <= src_h && x0 <= src_w - w && y0 <= src_h - h) return;
  const auto size = [](int width, int height) {
    return std::to_string(width) + "x" + std::to_string(height);
  };
  refuse("the rectangle is " + size(w, h) + " at column " + std::to_string(x0) + ", row " +
         std::to_string(y0) + "; it must lie inside the " + size(src_w, src_h) + " source");
}

inline const char* nameOf(int pix_fmt) {
  switch (pix_fmt) {
    case TN_PIX_FMT_YUVI420:
      return "I420";
    case TN_PIX_FMT_YUV420V:
      return "YUV420V";
    case TN_PIX_FMT_BGRA:
      return "BGRA";
    case TN_PIX_FMT_RGBA:
      return "RGBA";
    case TN_PIX_FMT_NV12:
      return "NV12";
    case TN_PIX_FMT_NV21:
      return "NV21";
    case TN_PIX_FMT_BGR:
      return "BGR";
    case TN_PIX_FMT_RGB:
      return "RGB";
    case TN_PIX_FMT_CHW_F32:
      return "CHW_F32";
    default:
      return "unknown";
  }
}

/// The record's format is one of `formats`.
template <class... Formats>
void format(const char* name, const _TN_Image& record, Formats... formats) {
  if (((record.pix_fmt == formats) || ...)) return;
  std::string wanted;
  ((wanted += (wanted.empty() ? "" : ", ") + std::string(nameOf(formats))), ...);
  refuse(std::string(name) + " has pixel format " + std::to_string(record.pix_fmt) + " (" +
         nameOf(record.pix_fmt) + "); it must be one of " + wanted);
}

inline void sidesOf(const char* name, const _TN_Image& record) {
  if (record.width >= 1 && record.width <= kLargestSide && record.height >= 1 &&
      record.height <= kLargestSide)
    return;
  refuse(std::string(name) + " is " + std::to_string(record.width) + "x" +
         std::to_string(record.height) + "; its sides must be from 1 to " +
         std::to_string(kLargestSide));
}

/// The record has exactly these sides.
inline void sidesAre(const char* name, const _TN_Image& record, int width, int height) {
  if (record.width == width && record.height == height) return;
  refuse(std::string(name) + " is " + std::to_string(record.width) + "x" +
         std::to_string(record.height) + "; it must be " + std::to_string(width) + "x" +
         std::to_string(height));
}

inline ConstBytes bytesOf(const Image& image) {
  return {static_cast<const unsigned char*>(image.record.data), image.bytes};
}
inline Floats floatsOf(const Image& image) {
  return {static_cast<float*>(image.record.data), image.bytes};
}

}  // namespace rules
}  // namespace Tarn::checked

#endif  // TN_CHECKED_RULES_H_
