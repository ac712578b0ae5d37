// Boxes out of the single output of a one-stage detector.
#ifndef TN_KITS_APPS_DETECTORS_BOX_DECODING_H_
#define TN_KITS_APPS_DETECTORS_BOX_DECODING_H_

#include <cstdint>
#include <optional>
#include <vector>

#include "tn_boxtracker.h"
#include "tn_preprocess.h"

namespace tarnkit {

// An output in one of two layouts. Boxes are centre x, centre y, width, height in pixels of the
// network's input; scores are probabilities.
struct BoxOutput {
  enum class Layout {
    kRows,     // a row a box: the four, objectness, a score for each class
    kColumns,  // a column a box: the four, a score for each class
  };
  Layout layout;
  int boxes, classes;
  const float* values;
};

// Tells the layout from the shape: detectors give more boxes than a box has values, so the longer side
// is taken to count the boxes; an output with fewer is read as the other layout. Nothing for a shape
// that fits neither: more than one channel, a square, or too few values for a box with one class.
std::optional<BoxOutput> readLayout(int channels, int rows, int columns, const float* values);

// All boxes whose score (the best class's, times the objectness where there is one) is at least
// `least_score`, in the output's order; x and y are the left and top edges, in pixels of the network's
// input. Of equal classes the first counts. A score or an edge that is no number, an infinite one, and a
// width or height not above 0 drop the box.
std::vector<Tarn::TarnBoundingBox2D> decodeBoxes(const BoxOutput& output, float least_score);

// Drops each box that a better one of its own class overlaps by more than `most_overlap` of their union.
// What stays is ordered from best to worst.
std::vector<Tarn::TarnBoundingBox2D> suppressDuplicates(std::vector<Tarn::TarnBoundingBox2D> boxes,
                                                        float most_overlap);

// From pixels of a tensor to fractions of the stored frame, cut off at the edges of the region that it
// comes from. Boxes wholly beside that are left out.
std::vector<Tarn::TarnBoundingBox2D> ontoPicture(const std::vector<Tarn::TarnBoundingBox2D>& boxes,
                                                 const Tarn::Placement& placement,
                                                 const Tarn::FrameView& frame);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_DETECTORS_BOX_DECODING_H_
