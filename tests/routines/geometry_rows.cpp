// Rows of the turns, mirrors and cuts.
#include <type_traits>

#include "tests/reference/geometry_reference.h"
#include "tests/routines/routine.h"
#include "tn_checked.h"
#include "tn_cv.h"

namespace tn_routines {
namespace {

namespace checked = Tarn::checked;
using TarnCPU::TN_CV;

using Plain = Bytes (*)(const std::uint8_t* src, int w, int h, int c);

template <class Call, class Checked>
void addTurn(Table& table, const char* name, int c, Call call, Checked form, Plain plain) {
  Routine routine = {name, 2};
  // Every size up to some blocks; then wider than a strip of the loop, and higher than two of its steps.
  for (int w = 1; w <= 40; ++w)
    for (int h = 1; h <= 40; ++h) routine.cases.push_back({w, h});
  for (const Size s : sizes())
    if (s.w > 40 || s.h > 40) routine.cases.push_back({s.w, s.h});
  routine.cases.insert(routine.cases.end(), {{200, 100}, {300, 4}, {4, 300}, {192, 52}, {260, 36}});
  routine.draw = [](Dice& dice) { return Numbers{dice.between(1, 140), dice.between(1, 140)}; };
  routine.buffers = [=](const Numbers& n) { return transfer(Tarn::turnExtents(n[0], n[1], c)); };
  routine.call = [=](const Numbers& n, const Memory& at) { call(at[0], n[0], n[1], at[1]); };
  routine.checked = [=](const Numbers& n, const Views& v) { form(source(v[0]), n[0], n[1], v[1]); };
  routine.plain = [=](const Numbers& n, const Memory& at) { put(at[1], plain(at[0], n[0], n[1], c)); };
  table.push_back(routine);
}

template <class Call, class Checked>
void addMirror(Table& table, const char* name, Call call, Checked form, Plain plain) {
  Routine routine = {name, 3};
  for (const int c : {1, 2, 3, 4, 5, 16})
    for (int w = 1; w <= 70; ++w) routine.cases.push_back({w, 1 + w % 3, c});
  for (const int c : {1, 3, 4})
    for (const int w : {85, 86, 127, 128, 129, 191, 192, 193, 1000}) routine.cases.push_back({w, 3, c});
  routine.draw = [](Dice& dice) {
    return Numbers{dice.between(1, 200), dice.between(1, 20), dice.between(1, 6)};
  };
  routine.buffers = [](const Numbers& n) { return transfer(Tarn::turnExtents(n[0], n[1], n[2])); };
  routine.call = [=](const Numbers& n, const Memory& at) { call(at[0], n[0], n[1], at[1], n[2]); };
  routine.checked = [=](const Numbers& n, const Views& v) {
    form(source(v[0]), n[0], n[1], v[1], n[2]);
  };
  routine.plain = [=](const Numbers& n, const Memory& at) {
    put(at[1], plain(at[0], n[0], n[1], n[2]));
  };
  routine.last_byte_counts = true;
  // A picture beyond the caches, whose rows start at any alignment.
  routine.large = {{2101, 2003, 4}, {3001, 4001, 1}, {2101, 1403, 3}};
  table.push_back(routine);
}

// Numbers: src_w, src_h, w, h, c, x0, y0. Element: a channel's value, of floats in planes.
template <class Element, class Call, class Checked>
void addCut(Table& table, const char* name, Call call, Checked form) {
  constexpr bool planes = std::is_same_v<Element, float>;
  Routine routine = {name, 5};
  for (const int c : {1, 2, 3, 4, 7})
    for (const Numbers& k : std::vector<Numbers>{{1, 1, 1, 1, c, 0, 0},
                                                 {9, 5, 9, 5, c, 0, 0},
                                                 {9, 5, 9, 3, c, 0, 0},
                                                 {9, 5, 9, 3, c, 0, 2},
                                                 {33, 21, 1, 1, c, 32, 20},
                                                 {33, 21, 28, 14, c, 5, 7},
                                                 {64, 8, 62, 6, c, 1, 1},
                                                 {130, 40, 127, 1, c, 3, 39}})
      routine.cases.push_back(k);
  routine.draw = [](Dice& dice) {
    const int src_w = dice.between(1, 90), src_h = dice.between(1, 30);
    const int w = dice.between(1, src_w), h = dice.between(1, src_h);
    return Numbers{
        src_w, src_h, w, h, dice.between(1, 5), dice.between(0, src_w - w), dice.between(0, src_h - h)};
  };
  routine.buffers = [=](const Numbers& n) {
    const auto extents = planes ? Tarn::cutPlanesExtents : Tarn::cutPixelsExtents;
    const auto whole = planes ? Tarn::tensorExtent : Tarn::pictureExtent;
    std::vector<Buffer> buffers = transfer(extents(n[0], n[1], n[2], n[3], n[5], n[6], n[4]));
    buffers[0].asked = whole(n[0], n[1], n[4]).end();
    return buffers;
  };
  routine.last_byte_counts = true;
  routine.call = [=](const Numbers& n, const Memory& at) {
    const auto start = [&](std::size_t k) { return reinterpret_cast<Element*>(at[k]); };
    call(start(0), n[0], n[1], start(1), n[2], n[3], n[5], n[6], n[4]);
  };
  routine.checked = [=](const Numbers& n, const Views& v) {
    if constexpr (planes)
      form(floatSource(v[0]), n[0], n[1], floats(v[1]), n[2], n[3], n[5], n[6], n[4]);
    else
      form(source(v[0]), n[0], n[1], v[1], n[2], n[3], n[5], n[6], n[4]);
  };
  // The floats of a plane move like pixels of four bytes.
  routine.plain = [](const Numbers& n, const Memory& at) {
    const int count = planes ? n[4] : 1, bytes = planes ? 4 : n[4];
    for (int plane = 0; plane < count; ++plane)
      put(at[1] + bytes * plane * n[2] * n[3],
          tn_reference::cutPacked(at[0] + bytes * plane * n[0] * n[1], n[0], n[2], n[3], n[5], n[6],
                                  bytes));
  };
  table.push_back(routine);
}

}  // namespace

void addGeometry(Table& table) {
  addTurn(table, "TarnCPU::TN_CV::rotate90_intrinsics_3_channel", 3,
          TN_CV::rotate90_intrinsics_3_channel, checked::rotate90_intrinsics_3_channel,
          tn_reference::turnClockwise);
  addTurn(table, "TarnCPU::TN_CV::rotate90_intrinsics_4_channel", 4,
          TN_CV::rotate90_intrinsics_4_channel, checked::rotate90_intrinsics_4_channel,
          tn_reference::turnClockwise);
  addTurn(table, "TarnCPU::TN_CV::anti_rotate90_intrinsics_3_channel", 3,
          TN_CV::anti_rotate90_intrinsics_3_channel, checked::anti_rotate90_intrinsics_3_channel,
          tn_reference::turnAnticlockwise);
  addTurn(table, "TarnCPU::TN_CV::anti_rotate90_intrinsics_4_channel", 4,
          TN_CV::anti_rotate90_intrinsics_4_channel, checked::anti_rotate90_intrinsics_4_channel,
          tn_reference::turnAnticlockwise);
  addMirror(table, "TarnCPU::TN_CV::flip_horizontal", TN_CV::flip_horizontal, checked::flip_horizontal,
            tn_reference::flipHorizontal);
  addMirror(table, "TarnCPU::TN_CV::flip_vertical", TN_CV::flip_vertical, checked::flip_vertical,
            tn_reference::flipVertical);
  addCut<std::uint8_t>(table, "TarnCPU::TN_CV::cut_sub_img_inhwc_outhwc",
                       TN_CV::cut_sub_img_inhwc_outhwc, checked::cut_sub_img_inhwc_outhwc);
  addCut<float>(table, "TarnCPU::TN_CV::cut_sub_img_inchw_outchw", TN_CV::cut_sub_img_inchw_outchw,
                checked::cut_sub_img_inchw_outchw);
}

}  // namespace tn_routines
