/// Boxes followed from frame to frame: the box record, per-box filters, and the multi-box tracker.
#ifndef TN_BOXTRACKER_H_
#define TN_BOXTRACKER_H_

#include <cstdint>
#include <memory>
#include <vector>

#include "tn_kits_export.h"

namespace Tarn {

class KalmanFilter;
class OneEuroFilter;

struct TarnBoundingBox2D {
  float x, y, w, h;
  float score;
  std::int32_t label;
};
static_assert(sizeof(TarnBoundingBox2D) == 24,
              "the layout of TarnBoundingBox2D is part of the binary interface");

struct TarnBoundingBoxesTrackerParams {
  float iouThreshold = 0.2f;
  std::int32_t lostThreshold = 0;
  std::int32_t validThreshold = 1;
  std::int32_t maxConfidence = 1;
  float fps = 25.0f;
  float minCutoff = 1.0f;
  float beta = 0.01f;
  float dCutoff = 10.0f;
  float processNoise = 0.001f;
  float measurementNoise = 0.001f;
  float reserved = 1.0f;
};

TN_KITS_API TarnBoundingBoxesTrackerParams getTrackerParams();
TN_KITS_API void setTrackerParams(const TarnBoundingBoxesTrackerParams& params);

using TrackerClock = double (*)();
TN_KITS_API void setTrackerClock(TrackerClock clock);

class TN_KITS_API TarnBoxTracker2D {
 public:
  TarnBoxTracker2D(const int& width, const int& height);
  virtual ~TarnBoxTracker2D();
  virtual void init(const float& x, const float& y, const float& w, const float& h) = 0;
  virtual void track(float* x, float* y, float* w, float* h) = 0;
  virtual void predict(float* x, float* y, float* w, float* h) = 0;

 protected:
  std::int32_t width;
  std::int32_t height;
};

class TN_KITS_API TarnKalmanFilterBoxTracker2D : TarnBoxTracker2D {
 public:
  TarnKalmanFilterBoxTracker2D(const int& width, const int& height);
  TarnKalmanFilterBoxTracker2D(const TarnKalmanFilterBoxTracker2D& other);
  TarnKalmanFilterBoxTracker2D& operator=(const TarnKalmanFilterBoxTracker2D& other);
  virtual ~TarnKalmanFilterBoxTracker2D();
  virtual void init(const float& x, const float& y, const float& w, const float& h);
  virtual void track(float* x, float* y, float* w, float* h);
  virtual void predict(float* x, float* y, float* w, float* h);

 private:
  KalmanFilter* filter;
};

class TN_KITS_API TarnOneEuroFilterBoxTracker2D : TarnBoxTracker2D {
 public:
  TarnOneEuroFilterBoxTracker2D(const int& width, const int& height);
  TarnOneEuroFilterBoxTracker2D(const TarnOneEuroFilterBoxTracker2D& other);
  TarnOneEuroFilterBoxTracker2D& operator=(const TarnOneEuroFilterBoxTracker2D& other);
  virtual ~TarnOneEuroFilterBoxTracker2D();
  virtual void init(const float& x, const float& y, const float& w, const float& h);
  virtual void track(float* x, float* y, float* w, float* h);
  virtual void predict(float* x, float* y, float* w, float* h);

 private:
  OneEuroFilter* filter;
};

template <class T>
class TN_KITS_API TarnTrackedBoundingBox2D : public TarnBoundingBox2D {
 public:
  TarnTrackedBoundingBox2D(const TarnBoundingBox2D& box, const int& width, const int& height);
  void update(const TarnBoundingBox2D& det);
  void miss();
  bool isAlive();
  bool isValid();

  std::int32_t confidence;
  std::shared_ptr<T> tracker;
};

template <class T>
class TarnIdentifiedBoxesTracker;

template <class T>
class TN_KITS_API TarnBoundingBoxesTracker {
 public:
  TarnBoundingBoxesTracker(const int& width, const int& height);
  TarnBoundingBoxesTracker(const TarnBoundingBoxesTracker& other);
  TarnBoundingBoxesTracker& operator=(const TarnBoundingBoxesTracker& other);
  ~TarnBoundingBoxesTracker();
  std::vector<TarnBoundingBox2D> track(const std::vector<TarnBoundingBox2D>& detections);

 private:
  friend class TarnIdentifiedBoxesTracker<T>;
  std::int32_t width;
  std::int32_t height;
  std::vector<std::shared_ptr<TarnTrackedBoundingBox2D<T>>> tracks;
};

struct TarnIdentifiedBox : TarnBoundingBox2D {
  std::int64_t id;
};

template <class T>
class TN_KITS_API TarnIdentifiedBoxesTracker {
 public:
  TarnIdentifiedBoxesTracker(const int& width, const int& height);
  explicit TarnIdentifiedBoxesTracker(const TarnBoundingBoxesTracker<T>& tracker);
  std::vector<TarnIdentifiedBox> track(const std::vector<TarnBoundingBox2D>& detections);

 private:
  TarnBoundingBoxesTracker<T> tracker_;
};

}  // namespace Tarn

#endif  // TN_BOXTRACKER_H_
