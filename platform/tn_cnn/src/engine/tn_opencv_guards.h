// What our calls to OpenCV change for the whole process, and put back.
#ifndef TN_CNN_SRC_ENGINE_TN_OPENCV_GUARDS_H_
#define TN_CNN_SRC_ENGINE_TN_OPENCV_GUARDS_H_

#include <mutex>
#include <shared_mutex>

namespace TarnCPU {

// While any of these lives, OpenCV writes no messages of its own: faults come as exceptions, and are
// reported from them.
class QuietOpenCv {
 public:
  QuietOpenCv();
  QuietOpenCv(const QuietOpenCv&) = delete;
  QuietOpenCv& operator=(const QuietOpenCv&) = delete;
  ~QuietOpenCv();
};

// OpenCV's number of threads for one run; 0 leaves it as the process has it. The number decides how
// layers are cut up, and so can change last bits: a run that chooses one has the engine to itself.
class OpenCvThreads {
 public:
  // More than the machine has processors count as that many.
  explicit OpenCvThreads(int threads);
  OpenCvThreads(const OpenCvThreads&) = delete;
  OpenCvThreads& operator=(const OpenCvThreads&) = delete;
  ~OpenCvThreads();

 private:
  std::shared_lock<std::shared_mutex> with_others_;
  std::unique_lock<std::shared_mutex> alone_;
  int before_ = 0;
};

}  // namespace TarnCPU

#endif  // TN_CNN_SRC_ENGINE_TN_OPENCV_GUARDS_H_
