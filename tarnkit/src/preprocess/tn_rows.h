// Rows of a frame in the few forms that resamplers read: flips undone, packed pixels taken apart.
//
// What enters: a checked frame and the part of the straight picture (tn_frame.h) that is needed. What
// leaves: pointers to rows. Rows that lie in the frame as they are wanted are handed out in place;
// others are copied or taken apart into a ring of slots, once while they stay in it.
#ifndef TN_KITS_PREPROCESS_TN_ROWS_H_
#define TN_KITS_PREPROCESS_TN_ROWS_H_

#include <cstddef>
#include <cstdint>

#include "common/tn_arrays.h"
#include "tarnkit/src/preprocess/tn_frame.h"

namespace Tarn::preprocess {

// Bytes behind the last sample of a row that may be read; their values are of no account.
constexpr std::size_t kRowSlack = 192;

// How the samples of a component lie in its rows.
enum class RowForm {
  kNone,     // the format does not have it
  kBytes,    // one after the other
  kWords,    // 16 bits each, ten in use
  kPairs,    // chroma bytes of both kinds in turn: component 1 has them, component 2 is kNone
  kPixels3,  // whole pixels of three bytes: component 0 has them, the others are kNone
  kPixels4,  // of four
};
constexpr std::size_t rowUnit(RowForm form) {
  switch (form) {
    case RowForm::kWords:
    case RowForm::kPairs:
      return 2;
    case RowForm::kPixels3:
      return 3;
    case RowForm::kPixels4:
      return 4;
    default:
      return 1;
  }
}
constexpr bool arePixels(RowForm form) { return form == RowForm::kPixels3 || form == RowForm::kPixels4; }
// Components that a row of this form holds.
constexpr int componentsIn(RowForm form) {
  return form == RowForm::kNone ? 0 : form == RowForm::kPairs ? 2 : arePixels(form) ? 3 : 1;
}

// First to last sample along an axis of the straight picture, both included.
struct SampleRange {
  int first, last;
  int count() const { return last - first + 1; }
};

// Components: 0 luma, red or grey; 1 U, green or pairs; 2 V or blue.
class Rows {
 public:
  // frame: a checked one. x, y: the pixels of the straight picture that will be asked for.
  // slots: rows that stay valid side by side, a power of two. pixels: packed colours may be handed out
  // as they are.
  Rows(const FrameView& frame, SampleRange x, SampleRange y, int slots, bool pixels);
  // The memory that the slots take.
  void take(TarnCPU::Arrays& arrays);
  // Another frame of the same format, size, orientation and siting; no row of the one before is kept.
  void aim(const FrameView& frame);

  RowForm form(int component) const { return forms_[component]; }
  bool tenBits() const { return shape_->sample_bytes == 2; }
  Samples samples() const { return shape_->samples; }
  // Whether pairs, or components 1 and 2, hold V before U.
  bool vFirst() const { return shape_->samples == Samples::kYuv && shape_->second_first; }
  // Whether whole pixels hold blue before red.
  bool blueFirst() const { return shape_->samples == Samples::kRgb && shape_->second_first; }
  const FrameView& frame() const { return *frame_; }
  const Turn& turn() const { return turn_; }
  // 1 where chroma has half the resolution, along the straight axes.
  int halvedX() const { return shape_->halved_x; }
  int halvedY() const { return shape_->halved_y; }

  // The samples that belong to the pixels asked for. Those of halved chroma are stored ones that cover
  // them, numbered along the straight axis: from the far end where it is flipped.
  SampleRange columns(int component) const { return component == 0 ? luma_x_ : chroma_x_; }
  SampleRange rows(int component) const { return component == 0 ? luma_y_ : chroma_y_; }

  // Row `y` of a component, from its first column on, kRowSlack bytes readable behind the last. Valid
  // until a row of the same component that is `slots` rows away is asked for.
  const std::uint8_t* row(int component, int y) {
    const InPlace& rows = in_place_[component];
    if (rows.first == nullptr) return slotRow(component, y);
    const std::uint8_t* const row = rows.first + y * rows.step;
    return reinterpret_cast<std::uintptr_t>(row) <= rows.last ? row : slotRow(component, y);
  }

 private:
  // Rows that are wanted as they lie in the frame.
  struct InPlace {
    const std::uint8_t* first = nullptr;  // straight row 0; null: there are none
    std::ptrdiff_t step = 0;              // from row to row
    std::uintptr_t last = 0;              // the last address from which a row and its slack can be read
  };
  const std::uint8_t* slotRow(int component, int y);
  int planeOf(int component) const;
  // The bytes of a plane's row, `y` counted along the straight axis.
  const std::uint8_t* stored(int plane, int y) const;
  // Stored columns of luma and of chroma.
  SampleRange storedColumns(SampleRange straight, int size) const;
  void fill(int component, int y, int slot);

  const FrameView* frame_;
  const FormatShape* shape_;
  Turn turn_;
  int slots_;
  SampleRange luma_x_, luma_y_, chroma_x_, chroma_y_;
  RowForm forms_[3];
  bool packed_;  // one plane holds all components
  InPlace in_place_[3];
  std::size_t slot_bytes_[3] = {};
  std::uint8_t* ring_[3] = {};
  int* held_[3] = {};  // which row a slot holds
};

// The same along the axes of the upright picture, for resamplers whose order of passes is the upright
// one. Where the axes are swapped the part asked for is turned as a whole first.
class UprightRows {
 public:
  // x, y: pixels of the upright picture.
  UprightRows(const FrameView& frame, SampleRange x, SampleRange y, int slots);
  void take(TarnCPU::Arrays& arrays);
  void aim(const FrameView& frame) { straight_.aim(frame); }
  // To be called before the first row of a frame, once there is memory.
  void turn();

  RowForm form(int component) const;
  bool tenBits() const { return straight_.tenBits(); }
  Samples samples() const { return straight_.samples(); }
  bool vFirst() const { return straight_.vFirst(); }
  const FrameView& frame() const { return straight_.frame(); }
  SampleRange columns(int component) const;
  SampleRange rows(int component) const;
  const std::uint8_t* row(int component, int y);

 private:
  static constexpr int kTurnedRows = 16;  // at a time
  std::size_t pitch(int component) const;
  void turnBand(int component, int first);

  Rows straight_;
  bool swapped_;
  std::uint8_t* turned_[3] = {};
};

}  // namespace Tarn::preprocess

#endif  // TN_KITS_PREPROCESS_TN_ROWS_H_
