/// \file
/// The tensor of the network library: a small record that shares its elements by reference count.
#ifndef TN_MAT_H_
#define TN_MAT_H_

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "tn_cnn_export.h"

namespace TarnCPU {

// The names are those that callers know.
// NOLINTBEGIN(readability-identifier-naming)

/// Where a tensor's memory comes from. A caller's own allocator must outlive every tensor made with it
/// and may be called from any thread that drops a tensor.
class TN_CNN_API Allocator {
 public:
  /// `size` bytes, aligned to 64; null when there are none.
  virtual void* allocate(std::size_t size) = 0;
  /// Takes back what allocate gave.
  virtual void release(void* pointer) = 0;
  virtual ~Allocator();
};

/// How the elements of a tensor follow one another.
struct TensorShape {
  /// Values of Mat::layout.
  enum Layout : std::int32_t {
    CHW = 1,  ///< planes of h rows of w elements, back to back
    HWC = 2,  ///< h rows of w pixels of c elements
  };
};

/// A tensor of c channels, h rows and w columns. The fields are open: kernels read them, and their order
/// and widths are part of the binary interface.
///
/// Copies share the elements and count themselves; the last owner frees. The count is atomic: different
/// Mat objects that share elements may be copied and dropped on different threads at once, one and the
/// same object may not. A view (`refcount` null) owns nothing and must not outlive what it looks at.
class TN_CNN_API Mat {
 public:
  std::int32_t layout = TensorShape::CHW;         ///< TensorShape::Layout
  std::int32_t c = 0;                             ///< channels
  std::int32_t h = 0;                             ///< rows
  std::int32_t w = 0;                             ///< columns
  std::uint32_t elem_size = 0;                    ///< bytes in an element; 4 for float
  std::int32_t extra = 0;                         ///< carried along, never interpreted
  void* data = nullptr;                           ///< the first element; null for an empty tensor
  std::atomic<std::int32_t>* refcount = nullptr;  ///< null for a view that owns nothing
  Allocator* allocator = nullptr;                 ///< null: the library's own

  /// Empty: no elements.
  Mat() = default;
  /// Floats of any value, aligned to 64 bytes. Without an allocator, the last dropped block of 256 KiB
  /// or more is kept for the next tensor of its size: a loop over frames does not map its pages anew. A
  /// size below 1 gives an empty tensor of these sizes. When the memory cannot be had, the assertion
  /// `false && "malloc failed"` ends the program, in Release too.
  Mat(int w, int h, int c, TensorShape::Layout layout = TensorShape::CHW,
      Allocator* allocator = nullptr);
  /// Shares the elements.
  Mat(const Mat& other);
  /// Takes over the elements; `other` becomes empty.
  Mat(Mat&& other) noexcept;
  /// Drops what it had and shares the elements.
  Mat& operator=(const Mat& other);
  /// Drops what it had and takes over the elements; `other` becomes empty.
  Mat& operator=(Mat&& other) noexcept;
  ~Mat();

  /// Packed bytes to a float CHW tensor of 3 channels, values 0 to 255.
  /// pixels: w * h pixels, rows packed, any alignment; exactly these bytes are read.
  /// type: the low 16 bits name the bytes given, 1 R, G, B; 2 B, G, R; 8 R, G, B, A (dropped); the high
  ///   16 bits the order of the planes wanted, 1 R, G, B or 2 B, G, R; 0 is the order given. Another
  ///   type gives an empty tensor and one error line in the log.
  /// Memory and its failure: as for the constructor.
  static Mat from_pixels(const unsigned char* pixels, int type, int w, int h,
                         Allocator* allocator = nullptr);

  /// A view of w * h * c floats of the caller's; nothing is copied or counted. The view never writes of
  /// itself, but hands out writable pointers. `allocator` is kept in the field and not called.
  static Mat from_float_array(const float* data, int w, int h, int c, TensorShape::Layout layout,
                              Allocator* allocator);

  /// Channel q of a CHW tensor as a view: 1 channel, the same rows, columns, layout, element size,
  /// `extra` and allocator, and no reference count. q is trusted.
  Mat channel(int q) const;

  /// Row y: of the first channel of a CHW tensor, of all channels of a HWC tensor. y is trusted.
  float* row(int y);
  /// The same, to read.
  const float* row(int y) const;

  /// Whether there are no elements: no data, or a size below 1, as views may have.
  bool empty() const { return data == nullptr || total() == 0; }
  /// Elements in all channels.
  std::size_t total() const;
  /// Drops this tensor's share of the elements and becomes empty.
  void release();

 private:
  void swap(Mat& other) noexcept;
};

static_assert(offsetof(Mat, layout) == 0 && offsetof(Mat, c) == 4 && offsetof(Mat, h) == 8 &&
                  offsetof(Mat, w) == 12 && offsetof(Mat, elem_size) == 16 &&
                  offsetof(Mat, extra) == 20 && offsetof(Mat, data) == 24 &&
                  offsetof(Mat, refcount) == 24 + sizeof(void*) &&
                  offsetof(Mat, allocator) == 24 + 2 * sizeof(void*),
              "the layout of Mat is part of the binary interface");

// NOLINTEND(readability-identifier-naming)

}  // namespace TarnCPU

#endif  // TN_MAT_H_
