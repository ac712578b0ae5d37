// Rows in place where they can be, else by way of the ring.
#include "tarnkit/src/preprocess/tn_rows.h"

#include <algorithm>
#include <cstring>

#include "tarnkit/src/preprocess/tn_split.h"

namespace Tarn::preprocess {
namespace {

// Of `count` samples; the first may stand one further on.
std::size_t slotBytes(int count, RowForm form) {
  return (static_cast<std::size_t>(count) + 1) * rowUnit(form) + kRowSlack;
}

SampleRange mirrored(SampleRange range, int size) {
  return {size - 1 - range.last, size - 1 - range.first};
}

// The samples that cover pixels [x.first, x.last] of `size` where only every second one is kept.
SampleRange covering(SampleRange x, int size, int halved, bool flipped) {
  if (halved == 0) return x;
  const SampleRange stored = flipped ? mirrored(x, size) : x;
  const SampleRange chroma = {stored.first / 2, stored.last / 2};
  return flipped ? mirrored(chroma, halfUp(size, 1)) : chroma;
}

}  // namespace

Rows::Rows(const FrameView& frame, SampleRange x, SampleRange y, int slots, bool pixels)
    : frame_(&frame),
      shape_(&shapeOf(frame.format)),
      turn_(turnOf(frame.orientation)),
      slots_(slots),
      luma_x_(x),
      luma_y_(y),
      chroma_x_(covering(x, frame.width, shape_->halved_x, turn_.flip_x)),
      chroma_y_(covering(y, frame.height, shape_->halved_y, turn_.flip_y)) {
  const RowForm samples = tenBits() ? RowForm::kWords : RowForm::kBytes;
  const bool pairs = shape_->samples == Samples::kYuv && !tenBits() && shape_->planes < 3;
  forms_[0] = samples;
  forms_[1] = shape_->samples == Samples::kGray ? RowForm::kNone : pairs ? RowForm::kPairs : samples;
  forms_[2] = shape_->samples == Samples::kGray || pairs ? RowForm::kNone : samples;
  if (pixels && shape_->samples == Samples::kRgb && !turn_.flip_x) {
    forms_[0] = shape_->pixel_bytes[0] == 3 ? RowForm::kPixels3 : RowForm::kPixels4;
    forms_[1] = forms_[2] = RowForm::kNone;
  }
  packed_ = shape_->planes == 1;
  for (int c = 0; c < 3; ++c)
    if (forms_[c] != RowForm::kNone) slot_bytes_[c] = slotBytes(columns(c).count(), forms_[c]);
  aim(frame);
}

void Rows::aim(const FrameView& frame) {
  frame_ = &frame;
  const bool as_stored = !turn_.flip_x && shape_->ten_bit_shift == 0 &&
                         (!packed_ || shape_->pixel_bytes[0] == 1 || arePixels(forms_[0]));
  for (int c = 0; c < 3; ++c) {
    if (held_[c] != nullptr) std::fill_n(held_[c], slots_, -1);
    in_place_[c] = {};
    if (!as_stored || forms_[c] == RowForm::kNone) continue;
    const int plane = planeOf(c), rows = planeSize(frame, plane).rows;
    const std::ptrdiff_t stride = frame.strides[plane];
    const std::size_t unit = rowUnit(forms_[c]);
    const std::uint8_t* const top = static_cast<const std::uint8_t*>(frame.planes[plane]);
    const std::ptrdiff_t last_row = (rows - 1) * stride;
    const std::uint8_t* const lowest = stride < 0 ? top + last_row : top;
    const std::size_t reach = static_cast<std::size_t>(columns(c).count()) * unit + kRowSlack;
    if (reach > frame.bytes[plane]) continue;
    in_place_[c].first =
        (turn_.flip_y ? top + last_row : top) + static_cast<std::size_t>(columns(c).first) * unit;
    // A single row may have any stride.
    in_place_[c].step = rows == 1 ? 0 : turn_.flip_y ? -stride : stride;
    in_place_[c].last = reinterpret_cast<std::uintptr_t>(lowest) + (frame.bytes[plane] - reach);
  }
}

void Rows::take(TarnCPU::Arrays& arrays) {
  for (int c = 0; c < 3; ++c) {
    ring_[c] = arrays.take<std::uint8_t>(slot_bytes_[c] * static_cast<std::size_t>(slots_));
    held_[c] = arrays.take<int>(static_cast<std::size_t>(slots_));
    if (held_[c] != nullptr) std::fill_n(held_[c], slots_, -1);
  }
}

int Rows::planeOf(int component) const { return packed_ ? 0 : std::min(component, shape_->planes - 1); }

const std::uint8_t* Rows::stored(int plane, int y) const {
  const int rows = planeSize(*frame_, plane).rows;
  const std::ptrdiff_t row = turn_.flip_y ? rows - 1 - y : y;
  return static_cast<const std::uint8_t*>(frame_->planes[plane]) + row * frame_->strides[plane];
}

SampleRange Rows::storedColumns(SampleRange straight, int size) const {
  return turn_.flip_x ? mirrored(straight, size) : straight;
}

const std::uint8_t* Rows::slotRow(int component, int y) {
  const std::size_t c = static_cast<std::size_t>(component);
  const int slot = y & (slots_ - 1);
  if (held_[c][slot] != y) fill(component, y, slot);
  // Packed 4:2:2 is taken apart from whole pairs of pixels on.
  const bool behind = packed_ && component == 0 && shape_->samples == Samples::kYuv &&
                      storedColumns(luma_x_, frame_->width).first % 2 != 0;
  return ring_[c] + static_cast<std::size_t>(slot) * slot_bytes_[c] + (behind ? 1 : 0);
}

void Rows::fill(int component, int y, int slot) {
  const int plane = planeOf(component);
  const auto at = [&](int c) {
    held_[c][slot] = y;
    return ring_[c] + static_cast<std::size_t>(slot) * slot_bytes_[c];
  };
  const SampleRange luma = storedColumns(luma_x_, frame_->width);
  const SampleRange chroma = storedColumns(chroma_x_, halfUp(frame_->width, shape_->halved_x));
  const SampleRange wanted = component == 0 ? luma : chroma;
  const std::size_t n = static_cast<std::size_t>(wanted.count());
  const std::uint8_t* src = stored(plane, y);
  const auto from = [&](const SampleRange& columns) {
    return src + static_cast<std::size_t>(columns.first) *
                     static_cast<std::size_t>(shape_->pixel_bytes[plane]);
  };
  const auto turn_round = [&](std::uint8_t* row, std::size_t count, RowForm form) {
    if (turn_.flip_x) reverseUnits(row, count, rowUnit(form));
  };

  if (packed_ && shape_->samples == Samples::kRgb && !arePixels(forms_[0])) {
    std::uint8_t* out[3] = {at(0), at(1), at(2)};
    if (shape_->second_first) std::swap(out[0], out[2]);
    splitPixels(from(luma), shape_->pixel_bytes[0], n, out);
    for (std::uint8_t* row : out) turn_round(row, n, RowForm::kBytes);
  } else if (packed_ && shape_->samples == Samples::kYuv) {
    // Two pairs of bytes to a pair of pixels.
    const std::size_t pairs = 2 * static_cast<std::size_t>(chroma.count());
    std::uint8_t *const y_row = at(0), *const uv_row = at(1);
    const bool second = shape_->luma_second;
    splitPairs(from(chroma), pairs, second ? uv_row : y_row, second ? y_row : uv_row);
    turn_round(y_row + luma.first % 2, static_cast<std::size_t>(luma.count()), RowForm::kBytes);
    turn_round(uv_row, pairs / 2, RowForm::kPairs);
  } else if (shape_->ten_bit_shift != 0 && plane == 1) {
    std::uint8_t *const u_row = at(1), *const v_row = at(2);
    splitWordPairs(from(chroma), n, shape_->ten_bit_shift, u_row, v_row);
    turn_round(u_row, n, RowForm::kWords);
    turn_round(v_row, n, RowForm::kWords);
  } else {
    std::uint8_t* const row = at(component);
    const RowForm form = forms_[component];
    if (shape_->ten_bit_shift != 0)
      shiftWords(from(wanted), n, shape_->ten_bit_shift, row);
    else
      std::memcpy(row, from(wanted), n * rowUnit(form));
    turn_round(row, n, form);
  }
}

// ---- upright

UprightRows::UprightRows(const FrameView& frame, SampleRange x, SampleRange y, int slots)
    : straight_(frame, turnOf(frame.orientation).swapped ? y : x,
                turnOf(frame.orientation).swapped ? x : y,
                turnOf(frame.orientation).swapped ? kTurnedRows : slots, false),
      swapped_(turnOf(frame.orientation).swapped) {}

RowForm UprightRows::form(int component) const {
  // Pairs are kept: their rows become columns of pairs.
  return straight_.form(component);
}

SampleRange UprightRows::columns(int component) const {
  return swapped_ ? straight_.rows(component) : straight_.columns(component);
}

SampleRange UprightRows::rows(int component) const {
  return swapped_ ? straight_.columns(component) : straight_.rows(component);
}

std::size_t UprightRows::pitch(int component) const {
  return slotBytes(columns(component).count(), form(component));
}

void UprightRows::take(TarnCPU::Arrays& arrays) {
  straight_.take(arrays);
  if (!swapped_) return;
  for (int c = 0; c < 3; ++c)
    if (form(c) != RowForm::kNone)
      turned_[c] = arrays.take<std::uint8_t>(pitch(c) * static_cast<std::size_t>(rows(c).count()));
}

void UprightRows::turn() {
  if (!swapped_) return;
  // A band of rows at a time: the slots keep all of them, and those of packed frames are taken apart
  // once for all components.
  for (int band = 0; band < straight_.rows(0).count(); band += kTurnedRows)
    for (int c = 0; c < 3; ++c)
      if (form(c) != RowForm::kNone) turnBand(c, straight_.rows(c).first + band);
}

void UprightRows::turnBand(int component, int first) {
  const SampleRange all = straight_.rows(component);
  const std::uint8_t* rows[kTurnedRows];
  std::size_t count = 0;
  for (int y = first; y <= all.last && count < kTurnedRows; ++y)
    rows[count++] = straight_.row(component, y);
  const std::size_t unit = rowUnit(form(component));
  if (count == 0) return;
  swapAxes(rows, count, static_cast<std::size_t>(straight_.columns(component).count()), unit,
           turned_[component] + static_cast<std::size_t>(first - all.first) * unit, pitch(component));
}

const std::uint8_t* UprightRows::row(int component, int y) {
  if (!swapped_) return straight_.row(component, y);
  return turned_[component] + pitch(component) * static_cast<std::size_t>(y - rows(component).first);
}

}  // namespace Tarn::preprocess
