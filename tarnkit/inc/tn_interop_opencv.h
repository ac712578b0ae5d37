/// \file
/// OpenCV's matrices as frame records and tensors, and back, without copies.
///
/// Header-only and optional: a program that includes it has OpenCV's headers and links its core; the
/// library itself does neither. All functions may run on several threads at once.
///
/// What comes out is a view: it owns nothing, must not outlive what it looks at, and can be written
/// through if that can. To bytes as tensors goes TarnCPU::Mat::from_pixels, which copies.
#ifndef TN_INTEROP_OPENCV_H_
#define TN_INTEROP_OPENCV_H_

#include <cstdint>
#include <opencv2/core.hpp>
#include <stdexcept>
#include <string>

#include "tn_image.h"
#include "tn_mat.h"

namespace Tarn::interop {

/// The matrix itself if its rows are packed (a share of it, by reference count), else a packed copy.
/// For matrices that are parts of others; what the views below give lasts as long as the matrix
/// returned.
inline cv::Mat packMat(const cv::Mat& mat) { return mat.isContinuous() ? mat : mat.clone(); }

/// The matrix type of an element or pixel in memory of a format: three or four bytes, one byte of a
/// 4:2:0 frame, or one float. Errors: std::invalid_argument for a code of no format.
inline int matTypeOf(std::int32_t pix_fmt) {
  switch (pix_fmt) {
    case TN_PIX_FMT_BGR:
    case TN_PIX_FMT_RGB:
      return CV_8UC3;
    case TN_PIX_FMT_BGRA:
    case TN_PIX_FMT_RGBA:
      return CV_8UC4;
    case TN_PIX_FMT_YUVI420:
    case TN_PIX_FMT_YUV420V:
    case TN_PIX_FMT_NV12:
    case TN_PIX_FMT_NV21:
      return CV_8UC1;
    case TN_PIX_FMT_CHW_F32:
      return CV_32FC1;
    default:
      throw std::invalid_argument("no pixel format has the code " + std::to_string(pix_fmt));
  }
}

/// A record over the matrix's pixels.
/// pix_fmt: what they are, since a matrix does not say it: TN_PIX_FMT_BGR or _RGB of CV_8UC3 (OpenCV's
///   own order is BGR), _BGRA or _RGBA of CV_8UC4; a 4:2:0 format of CV_8UC1 with half as many rows
///   again as the picture, as cv::cvtColor takes and gives them; TN_PIX_FMT_CHW_F32 of CV_32FC1 with the
///   dimensions 3, rows, columns, or 1, 3, rows, columns as cv::dnn::blobFromImage makes them.
/// Errors: std::invalid_argument when type or dimensions do not fit the format, the matrix is empty, its
/// rows are not packed (packMat helps), or a 4:2:0 picture has an odd size.
inline _TN_Image asImage(const cv::Mat& mat, std::int32_t pix_fmt) {
  const int type = matTypeOf(pix_fmt);
  if (mat.empty()) throw std::invalid_argument("the matrix has no pixels");
  if (mat.type() != type)
    throw std::invalid_argument("the matrix holds " + cv::typeToString(mat.type()) + ", not " +
                                cv::typeToString(type));
  if (!mat.isContinuous())
    throw std::invalid_argument("the matrix's rows are not packed; packMat copies them");
  _TN_Image image = {0, pix_fmt, mat.cols, mat.rows, 0, mat.data};
  if (type == CV_32FC1) {
    const int d = mat.dims;
    if (d < 3 || d > 4 || mat.size[d - 3] != 3 || (d == 4 && mat.size[0] != 1))
      throw std::invalid_argument("the matrix has other dimensions than 3, rows, columns");
    image.height = mat.size[d - 2];
    image.width = mat.size[d - 1];
    return image;
  }
  if (mat.dims != 2) throw std::invalid_argument("the matrix has more than two dimensions");
  if (type == CV_8UC1) {
    if (mat.rows % 3 != 0 || mat.cols % 2 != 0)
      throw std::invalid_argument("a matrix of " + std::to_string(mat.rows) + " rows and " +
                                  std::to_string(mat.cols) + " columns is no 4:2:0 frame of even size");
    image.height = mat.rows / 3 * 2;
  }
  return image;
}

/// A matrix over a record's pixels, of the types and dimensions that the other direction takes.
/// Errors: std::invalid_argument for a code of no format, a record without pixels, or a 4:2:0 picture of
/// odd size.
inline cv::Mat asMat(const _TN_Image& image) {
  const int type = matTypeOf(image.pix_fmt);
  if (image.data == nullptr || image.width < 1 || image.height < 1)
    throw std::invalid_argument("the record has no pixels");
  if (type == CV_32FC1) {
    const int sizes[] = {3, image.height, image.width};
    return cv::Mat(3, sizes, type, image.data);
  }
  if (type != CV_8UC1) return cv::Mat(image.height, image.width, type, image.data);
  if (image.width % 2 != 0 || image.height % 2 != 0)
    throw std::invalid_argument("no matrix holds a 4:2:0 picture of odd size");
  return cv::Mat(image.height / 2 * 3, image.width, type, image.data);
}

/// A matrix over a tensor of floats: CHW as three dimensions (channels, rows, columns), HWC as rows and
/// columns of pixels of c channels.
/// Errors: std::invalid_argument for an empty tensor, elements of another size than 4 bytes, or more
/// than CV_CN_MAX (512) interleaved channels.
inline cv::Mat asMat(const TarnCPU::Mat& tensor) {
  if (tensor.empty()) throw std::invalid_argument("the tensor has no elements");
  if (tensor.elem_size != sizeof(float))
    throw std::invalid_argument("the tensor's elements have " + std::to_string(tensor.elem_size) +
                                " bytes; floats have 4");
  if (tensor.layout == TarnCPU::TensorShape::CHW) {
    const int sizes[] = {tensor.c, tensor.h, tensor.w};
    return cv::Mat(3, sizes, CV_32FC1, tensor.data);
  }
  if (tensor.c > CV_CN_MAX)
    throw std::invalid_argument("no matrix holds " + std::to_string(tensor.c) + " interleaved channels");
  return cv::Mat(tensor.h, tensor.w, CV_32FC(tensor.c), tensor.data);
}

/// A tensor over a matrix of floats: two dimensions give HWC, or CHW when there is one channel; three
/// dimensions of single floats (channels, rows, columns), or four of which the first is 1, give CHW.
/// Errors: std::invalid_argument for an empty matrix, another type or other dimensions, or rows that
/// are not packed (packMat helps).
inline TarnCPU::Mat asTensor(const cv::Mat& mat) {
  if (mat.empty()) throw std::invalid_argument("the matrix has no elements");
  if (mat.depth() != CV_32F)
    throw std::invalid_argument("the matrix holds " + cv::typeToString(mat.type()) + ", not floats");
  if (!mat.isContinuous())
    throw std::invalid_argument("the matrix's rows are not packed; packMat copies them");
  const float* const data = mat.ptr<float>();
  const int d = mat.dims, channels = mat.channels();
  if (d == 2)
    return TarnCPU::Mat::from_float_array(
        data, mat.cols, mat.rows, channels,
        channels == 1 ? TarnCPU::TensorShape::CHW : TarnCPU::TensorShape::HWC, nullptr);
  if (channels != 1 || d > 4 || (d == 4 && mat.size[0] != 1))
    throw std::invalid_argument("the matrix has other dimensions than channels, rows, columns");
  return TarnCPU::Mat::from_float_array(data, mat.size[d - 1], mat.size[d - 2], mat.size[d - 3],
                                        TarnCPU::TensorShape::CHW, nullptr);
}

}  // namespace Tarn::interop

#endif  // TN_INTEROP_OPENCV_H_
