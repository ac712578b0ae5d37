// The built-in network as bytes of an ONNX file; make_blob_detector.py tells how it works.
#ifndef TN_KITS_APPS_DETECTORS_MODELS_BLOB_DETECTOR_H_
#define TN_KITS_APPS_DETECTORS_MODELS_BLOB_DETECTOR_H_

#include <cstddef>

namespace tarnkit {

extern const unsigned char kBlobDetector[];
extern const std::size_t kBlobDetectorSize;

}  // namespace tarnkit

#endif  // TN_KITS_APPS_DETECTORS_MODELS_BLOB_DETECTOR_H_
