// A few pictures of a video, evenly spread over it, on one sheet.
#ifndef TN_KITS_APPS_DRAWING_CONTACT_SHEET_H_
#define TN_KITS_APPS_DRAWING_CONTACT_SHEET_H_

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

namespace tarnkit {

// The length of a video is known only at its end, so pictures are gathered at a stride that doubles
// whenever there are too many, and thinned out at the end.
class ContactSheet {
 public:
  // Offers a frame; numbers rise by one from call to call. The picture is copied if it is kept.
  void add(std::int64_t frame, const cv::Mat& bgr);

  // Up to 3 x 2 pictures with their frame numbers; empty if there was no frame.
  cv::Mat compose() const;

  // The numbers of the frames that compose() shows.
  std::vector<std::int64_t> frames() const;

 private:
  struct Picture {
    std::int64_t frame;
    cv::Mat thumbnail;
  };
  std::vector<std::size_t> chosen() const;

  std::vector<Picture> pictures_;
  std::int64_t first_ = 0, stride_ = 1;
};

}  // namespace tarnkit

#endif  // TN_KITS_APPS_DRAWING_CONTACT_SHEET_H_
