// Pictures from PNG and JPEG files, and to PNG files.
#ifndef TN_KITS_APPS_PICTURES_PICTURE_FILE_H_
#define TN_KITS_APPS_PICTURES_PICTURE_FILE_H_

#include <opencv2/core.hpp>
#include <string>

#include "apps/pictures/picture.h"

namespace tarnkit {

enum class JpegTurn {
  kUpright,  // whichever way the camera was held, by the orientation that it wrote into the file
  kStored,   // the rows as they are in the file
};

// Grey, RGB, or RGBA where a PNG file has alpha; samples of 16 bits are rounded to 8. PNG pictures are
// always as stored. "-" is standard input. Throws Failure.
Picture readPicture(const std::string& path, JpegTurn turn = JpegTurn::kUpright);

// Whether a regular file begins as PNG or JPEG do.
bool isPictureFile(const std::string& path);

// The planes of a planar picture come below one another, in grey. "-" is standard output. Throws
// Failure.
void writePicture(const std::string& path, const Picture& picture);
// The same for a picture as OpenCV has it: grey, BGR or BGRA.
void writePng(const std::string& path, const cv::Mat& picture);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_PICTURES_PICTURE_FILE_H_
