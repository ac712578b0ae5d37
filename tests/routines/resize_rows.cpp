// Rows of the byte resizers. Numbers: sw, sh, dw, dh, and of the crops left, top, right, bottom.
#include <limits>

#include "tests/reference/resize_reference.h"
#include "tests/routines/routine.h"
#include "tn_checked.h"
#include "tn_cv.h"

namespace tn_routines {
namespace {

namespace checked = Tarn::checked;

constexpr int kLowest = std::numeric_limits<int>::min(), kHighest = std::numeric_limits<int>::max();

Numbers drawSizes(Dice& dice) {
  const int sw = dice.between(1, 300), sh = dice.between(1, 60);
  const bool same = dice.between(0, 9) == 0;
  return {sw, sh, same ? sw : dice.between(1, 300), same ? sh : dice.between(1, 60)};
}

template <class Call, class Checked, class Plain>
void addResizer(Table& table, const char* name, int c, Call call, Checked form, Plain plain) {
  Routine routine = {name, 4};
  // Rows around the 16 bytes of a window, and scales at which a block of samples takes 1, 2, 4 or 8
  // windows, or more than that; outputs around a step of each vector width.
  for (const int sw : {1, 2, 3, 4, 5, 6, 7, 8, 9, 15, 16, 17, 18, 40, 100, 333, 1500})
    for (const int dw : {1, 2, 3, 5, 8, 11, 16, 17, 21, 22, 31, 32, 33, 43, 63, 64, 65, 100, 130})
      routine.cases.push_back({sw, 3, dw, 2});
  for (const int sh : {1, 2, 3, 4, 5, 8, 13, 40})
    for (const int dh : {1, 2, 3, 4, 5, 8, 19, 20, 39, 40, 41, 120})
      routine.cases.push_back({23, sh, 18, dh});
  // Equal sizes are a copy. Far from the origin positions are rounded to few bits, and halves of a
  // weight are common. Three pixels to 2048 have weights of halves.
  routine.cases.insert(routine.cases.end(), {{77, 9, 77, 9},
                                             {5003, 2, 3001, 1},
                                             {1, 1, 9, 7},
                                             {2, 1, 40, 7},
                                             {1, 11, 40, 7},
                                             {9, 1, 9, 7},
                                             {3, 3, 2048, 5}});
  routine.draw = drawSizes;
  routine.buffers = [=](const Numbers& n) {
    return transfer(Tarn::resizeExtents(n[0], n[1], n[2], n[3], c));
  };
  routine.call = [=](const Numbers& n, const Memory& at) { call(at[0], n[0], n[1], at[1], n[2], n[3]); };
  routine.checked = [=](const Numbers& n, const Views& v) {
    form(source(v[0]), n[0], n[1], v[1], n[2], n[3]);
  };
  routine.plain = [=](const Numbers& n, const Memory& at) {
    put(at[1], plain(at[0], n[0], n[1], n[2], n[3], c));
  };
  table.push_back(routine);
}

template <class Call, class Checked>
void addCropResizer(Table& table, const char* name, int c, Call call, Checked form) {
  Routine routine = {name, 4};
  // clang-format off
  for (const Numbers& rectangle : std::vector<Numbers>{
           // The whole source, parts of it, one pixel, and rectangles that reach beyond it.
           {0, 0, 60, 22}, {5, 3, 40, 20}, {30, 11, 30, 11}, {-20, -9, 30, 10}, {40, 15, 90, 60},
           {-30, -30, 100, 100}, {-3, 5, 65, 5}, {0, -40, 8, 60}, {60, 22, 61, 23},
           // Outside, inverted, and as far out as numbers go.
           {61, 0, 81, 10}, {-20, 0, -1, 10}, {0, 23, 10, 28}, {5, -8, 9, -1}, {10, 5, 9, 15}, {5, 10, 15, 9},
           {kHighest, kHighest, kLowest, kLowest}, {kLowest, kLowest, kHighest, kHighest}, {kLowest, 0, 30, 10},
           {0, 0, kHighest, kHighest}, {kLowest, kLowest, kLowest, kLowest},
           {kHighest, kHighest, kHighest, kHighest}, {-1000000, -3, 1000100, 30}})
    // clang-format on
    for (const Numbers& to : std::vector<Numbers>{{64, 9}, {7, 50}, {150, 31}}) {
      Numbers n = {61, 23, to[0], to[1]};
      n.insert(n.end(), rectangle.begin(), rectangle.end());
      routine.cases.push_back(n);
    }
  for (const int sw : {1, 3, 4, 5, 6, 15, 16, 17, 200})
    for (const int dw : {1, 16, 33, 65, 300}) routine.cases.push_back({sw, 4, dw, 5, -1, 0, sw - 1, 3});
  routine.draw = [](Dice& dice) {
    Numbers n = drawSizes(dice);
    const int reach = dice.coin() ? 400 : kHighest;
    for (int corner = 0; corner < 4; ++corner) n.push_back(dice.between(-reach, reach));
    return n;
  };
  routine.buffers = [=](const Numbers& n) {
    return transfer(Tarn::resizeExtents(n[0], n[1], n[2], n[3], c));
  };
  routine.call = [=](const Numbers& n, const Memory& at) {
    call(at[0], n[0], n[1], at[1], n[2], n[3], n[4], n[5], n[6], n[7]);
  };
  routine.checked = [=](const Numbers& n, const Views& v) {
    form(source(v[0]), n[0], n[1], v[1], n[2], n[3], n[4], n[5], n[6], n[7]);
  };
  routine.plain = [=](const Numbers& n, const Memory& at) {
    const Bytes background(at[1], at[1] + Tarn::pictureExtent(n[2], n[3], c).bytes);
    put(at[1], tn_reference::cropResizeNearest(at[0], n[0], n[1], background, n[2], n[3], c,
                                               {n[4], n[5], n[6], n[7]}));
  };
  table.push_back(routine);
}

}  // namespace

void addResizers(Table& table) {
  const auto bilinear = tn_reference::resizeBilinear;
  addResizer(table, "TarnCPU::TN_CV::resize_bilinear_c2", 2, TarnCPU::TN_CV::resize_bilinear_c2,
             checked::resize_bilinear_c2, bilinear);
  addResizer(table, "TarnCPU::resize_bilinear_c1", 1, TarnCPU::resize_bilinear_c1,
             checked::resize_bilinear_c1, bilinear);
  addResizer(table, "TarnCPU::resize_bilinear_c2", 2, TarnCPU::resize_bilinear_c2,
             checked::cnn_resize_bilinear_c2, bilinear);
  addResizer(table, "TarnCPU::resize_bilinear_c3", 3, TarnCPU::resize_bilinear_c3,
             checked::resize_bilinear_c3, bilinear);
  addResizer(table, "TarnCPU::resize_bilinear_c4", 4, TarnCPU::resize_bilinear_c4,
             checked::resize_bilinear_c4, bilinear);
  addResizer(table, "TarnCPU::resize_nearest_c1", 1, TarnCPU::resize_nearest_c1,
             checked::resize_nearest_c1, tn_reference::resizeNearest);
  addCropResizer(table, "TarnCPU::crop_resize_nearest_c1", 1, TarnCPU::crop_resize_nearest_c1,
                 checked::crop_resize_nearest_c1);
  addCropResizer(table, "TarnCPU::crop_resize_nearest_c3", 3, TarnCPU::crop_resize_nearest_c3,
                 checked::crop_resize_nearest_c3);
  addCropResizer(table, "TarnCPU::crop_resize_nearest_c4", 4, TarnCPU::crop_resize_nearest_c4,
                 checked::crop_resize_nearest_c4);
}

}  // namespace tn_routines
