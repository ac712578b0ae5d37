// Rows of the colour conversions: YUV 4:2:0 to packed RGB, packed colour to grey and to planes.
#include "tests/reference/colour_reference.h"
#include "tests/routines/routine.h"
#include "tn_checked.h"
#include "tn_cv.h"

namespace tn_routines {
namespace {

namespace checked = Tarn::checked;
using TarnCPU::TN_CV;

template <class Extents, class Call, class Checked, class Plain>
void addOfFrame(Table& table, const char* name, Extents extents, Call call, Checked form, Plain plain) {
  Routine routine = {name, 2};
  for (const Size s : sizes()) routine.cases.push_back({s.w, s.h});
  routine.draw = [](Dice& dice) { return Numbers{dice.between(1, 300), dice.between(1, 40)}; };
  routine.buffers = [=](const Numbers& n) { return transfer(extents(n[0], n[1])); };
  routine.call = [=](const Numbers& n, const Memory& at) { call(at[0], n[0], n[1], at[1]); };
  routine.checked = [=](const Numbers& n, const Views& v) { form(source(v[0]), n[0], n[1], v[1]); };
  routine.plain = [=](const Numbers& n, const Memory& at) { plain(at[0], n[0], n[1], at[1]); };
  routine.last_byte_counts = true;
  table.push_back(routine);
}

template <class Extents, class Call, class Checked, class Plain>
void addOfCount(Table& table, const char* name, int c, Extents extents, Call call, Checked form,
                Plain plain) {
  Routine routine = {name, 1};
  for (int n = 1; n <= 300; n += n < 140 ? 1 : 23) routine.cases.push_back({n});
  routine.cases.insert(routine.cases.end(), {{1000}, {4099}});
  routine.draw = [](Dice& dice) { return Numbers{dice.between(1, 2000)}; };
  routine.buffers = [=](const Numbers& n) { return transfer(extents(n[0], c)); };
  routine.call = [=](const Numbers& n, const Memory& at) { call(at[0], at[1], n[0]); };
  routine.checked = [=](const Numbers& n, const Views& v) { form(source(v[0]), v[1], n[0]); };
  routine.plain = [=](const Numbers& n, const Memory& at) { plain(at[0], n[0], at[1]); };
  routine.skipped = c == 4 ? 1 : 0;
  table.push_back(routine);
}

}  // namespace

void addColour(Table& table) {
  const auto semi_planar = [](bool u_first) {
    return [=](const std::uint8_t* src, int w, int h, std::uint8_t* dst) {
      tn_reference::semiPlanarWalk(src, w, h, u_first, dst);
    };
  };
  addOfFrame(table, "TarnCPU::TN_CV::nv12_to_rgb_fast_asm", Tarn::semiPlanarToRgbExtents,
             TN_CV::nv12_to_rgb_fast_asm, checked::nv12_to_rgb_fast_asm, semi_planar(true));
  addOfFrame(table, "TarnCPU::TN_CV::yuv420sp_to_rgb_fast_asm", Tarn::semiPlanarToRgbExtents,
             TN_CV::yuv420sp_to_rgb_fast_asm, checked::yuv420sp_to_rgb_fast_asm, semi_planar(false));
  addOfFrame(table, "TarnCPU::TN_CV::yuv420f_to_rgb", Tarn::planarToRgbExtents, TN_CV::yuv420f_to_rgb,
             checked::yuv420f_to_rgb, [](const std::uint8_t* src, int w, int h, std::uint8_t* dst) {
               const std::uint8_t* const u = src + w * h;
               tn_reference::planarWalk(src, u, u + w * h / 4, w, h, dst);
             });

  // c: bytes of a pixel; red: which of them is red.
  const auto grey = [](int c, int red) {
    return [=](const std::uint8_t* src, int n, std::uint8_t* dst) {
      for (int i = 0; i < n; ++i, src += c) dst[i] = tn_reference::gray(src[red], src[1], src[2 - red]);
    };
  };
  const auto planes = [](int c, int red) {
    return [=](const std::uint8_t* src, int n, std::uint8_t* dst) {
      for (int i = 0; i < n; ++i, src += c) {
        dst[i] = src[red];
        dst[n + i] = src[1];
        dst[2 * n + i] = src[2 - red];
      }
    };
  };
  addOfCount(table, "TarnCPU::getGray_from_BGRA_HWC", 4, Tarn::grayExtents,
             TarnCPU::getGray_from_BGRA_HWC, checked::getGray_from_BGRA_HWC, grey(4, 2));
  addOfCount(table, "TarnCPU::getGray_from_RGBA_HWC", 4, Tarn::grayExtents,
             TarnCPU::getGray_from_RGBA_HWC, checked::getGray_from_RGBA_HWC, grey(4, 0));
  addOfCount(table, "TarnCPU::getGray_from_RGB_HWC", 3, Tarn::grayExtents, TarnCPU::getGray_from_RGB_HWC,
             checked::getGray_from_RGB_HWC, grey(3, 0));
  addOfCount(table, "TarnCPU::getRGB_CHW_from_BGRA_HWC", 4, Tarn::planesExtents,
             TarnCPU::getRGB_CHW_from_BGRA_HWC, checked::getRGB_CHW_from_BGRA_HWC, planes(4, 2));
  addOfCount(table, "TarnCPU::getRGB_CHW_from_RGBA_HWC", 4, Tarn::planesExtents,
             TarnCPU::getRGB_CHW_from_RGBA_HWC, checked::getRGB_CHW_from_RGBA_HWC, planes(4, 0));
  addOfCount(table, "TarnCPU::getRGB_CHW_from_RGB_HWC", 3, Tarn::planesExtents,
             TarnCPU::getRGB_CHW_from_RGB_HWC, checked::getRGB_CHW_from_RGB_HWC, planes(3, 0));
}

}  // namespace tn_routines
