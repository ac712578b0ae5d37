/// \file
/// Boxes followed from frame to frame: the box record, the per-box filters, and the multi-box tracker.
///
/// Once per frame a detector's boxes go into a TarnBoundingBoxesTracker, and the smoothed boxes of the
/// confirmed tracks come out. TarnIdentifiedBoxesTracker does the same and numbers the tracks.
///
/// Geometry at this interface is always left, top, width and height, x and w as fractions of the frame
/// width, y and h of the frame height. Boxes may reach beyond the frame; nothing is clipped.
///
/// Threads: a tracker, and all copies that share tracks with it, are used by one thread at a time.
/// Unrelated trackers may run on different threads: all that they share are the parameters and the
/// clock. No routine starts a thread or takes a lock.
///
/// Errors: the only error of trackers is std::bad_alloc. Unless a call says otherwise, a call that
/// throws has changed nothing and can be repeated.
#ifndef TN_BOXTRACKER_H_
#define TN_BOXTRACKER_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "tn_kits_export.h"

#if defined(_MSC_VER)
#pragma warning(push)
// Exported classes hold standard containers as private members, and one has a plain record as its base;
// users and library share one runtime.
#pragma warning(disable : 4251 4275)
#endif

namespace Tarn {

class KalmanFilter;
class OneEuroFilter;
struct OneEuroBoxSteps;
// The export mark is needed here too: clang fixes the visibility of a specialisation where a friend
// declaration first names it.
template <class T>
class TN_KITS_API TarnIdentifiedBoxesTracker;

/// One box, as a detector gives it and as a tracker returns it.
struct TarnBoundingBox2D {
  float x;             ///< left edge, fraction of the frame width
  float y;             ///< top edge, fraction of the frame height
  float w;             ///< width, fraction of the frame width
  float h;             ///< height, fraction of the frame height
  float score;         ///< the detector's value for the box: carried along, never interpreted
  std::int32_t label;  ///< class; boxes of a track are compared with it for equality
};
static_assert(offsetof(TarnBoundingBox2D, x) == 0 && offsetof(TarnBoundingBox2D, y) == 4 &&
                  offsetof(TarnBoundingBox2D, w) == 8 && offsetof(TarnBoundingBox2D, h) == 12 &&
                  offsetof(TarnBoundingBox2D, score) == 16 && offsetof(TarnBoundingBox2D, label) == 20 &&
                  sizeof(TarnBoundingBox2D) == 24,
              "the layout of TarnBoundingBox2D is part of the binary interface");

/// The parameters of all trackers of the process.
///
/// With the defaults a track lives exactly as long as every frame has a detection of its label for it:
/// its first miss, or its first match with another label, ends it. Larger values of maxConfidence let
/// tracks coast: one that has reached it is still reported in its first maxConfidence - validThreshold
/// frames without a detection, and is dropped in frame number maxConfidence - lostThreshold of them.
struct TarnBoundingBoxesTrackerParams {
  /// Track and detection can match only when they overlap by strictly more than this; 0 to 1.
  float iouThreshold = 0.2f;
  /// A track whose confidence is at or below this is dropped.
  std::int32_t lostThreshold = 0;
  /// Confidence of a new track, and the least confidence at which a track is reported.
  std::int32_t validThreshold = 1;
  /// A gain lifts confidence to this at most, a loss lowers it to minus this at least.
  std::int32_t maxConfidence = 1;
  /// Frames per second: the Kalman filter's time step and the One-Euro filter's first sampling rate.
  float fps = 25.0f;
  /// One-Euro: cut-off frequency at rest, Hz. Lower is smoother and later.
  float minCutoff = 1.0f;
  /// One-Euro: Hz of cut-off gained for each pixel per second of speed. Higher follows faster.
  float beta = 0.01f;
  /// One-Euro: cut-off frequency of the speed's own smoothing, Hz.
  float dCutoff = 10.0f;
  /// Kalman: variance that each state gains per frame (pixels and seconds).
  float processNoise = 0.001f;
  /// Kalman: variance of a measured corner coordinate, square pixels.
  float measurementNoise = 0.001f;
  /// Read by nothing; keeps the record at its eleven fields.
  float reserved = 1.0f;
};

/// A copy of the process-wide parameters: the defaults until setTrackerParams replaces them.
/// Threads: may be called on any, but not while setTrackerParams runs.
TN_KITS_API TarnBoundingBoxesTrackerParams getTrackerParams();

/// Replaces the process-wide parameters. A filter reads its own when it is started, so live tracks keep
/// the fps, cut-offs and noises they began with; the thresholds are in force from the next frame on.
/// Errors: std::invalid_argument, whose text begins with the name of the field, when a float other
/// than reserved is not finite, fps is not above 0, iouThreshold lies outside 0 to 1, a noise or a
/// cut-off is negative, maxConfidence is below 1, validThreshold is above maxConfidence, or
/// lostThreshold is not below validThreshold; nothing is changed then. A negative beta is allowed, and
/// so is a lostThreshold below minus maxConfidence (tracks then never die).
/// Threads: to be called while no tracker runs and nothing else reads the parameters in any thread; it
/// takes no lock. The caller orders it before the trackers' next calls: it starts their threads
/// afterwards, or uses a mutex.
TN_KITS_API void setTrackerParams(const TarnBoundingBoxesTrackerParams& params);

/// A clock in seconds for the One-Euro filters. Its origin does not matter; it should not run back.
using TrackerClock = double (*)();

/// Installs the clock of all One-Euro filters of the process, for offline files and for tests; null
/// brings the platform's monotonic clock back. Each track and each predict of a per-box tracker reads
/// the clock exactly once, init never. A frame of a multi-box tracker reads it once for each track that
/// existed before the frame, oldest first. The time -1.0 means "no time": it leaves the rate as it is.
/// Threads: may be called at any time; the clock must itself be callable from every tracking thread.
/// It must not throw: a frame whose clock does is left half done.
TN_KITS_API void setTrackerClock(TrackerClock clock);

/// A filter for one box. The order of the virtual functions is part of the binary interface.
class TN_KITS_API TarnBoxTracker2D {
 public:
  /// width, height: the frame in pixels, by which fractions are scaled. Not checked; a frame of size 0
  /// gives boxes of infinities and NaNs.
  TarnBoxTracker2D(const int& width, const int& height);
  /// Sets width and height to 0.
  virtual ~TarnBoxTracker2D();
  /// Starts filtering with a first box. To be called once, before track and predict.
  virtual void init(const float& x, const float& y, const float& w, const float& h) = 0;
  /// One frame with a measurement: the pointees hold the measured box on entry and the filtered box on
  /// return. The four must be apart from each other.
  virtual void track(float* x, float* y, float* w, float* h) = 0;
  /// One frame without a measurement: the pointees receive the predicted box. They are not read.
  virtual void predict(float* x, float* y, float* w, float* h) = 0;

 protected:
  std::int32_t width;   ///< of the frame in pixels
  std::int32_t height;  ///< of the frame in pixels
};

/// Smooths and extrapolates one box with a Kalman filter (tn_kalmanfilter.h) whose state is the corners
/// (x1, y1, x2, y2) in pixels, their velocities and their accelerations, in single precision:
///   position += velocity dt + acceleration dt^2 / 2,  velocity += acceleration dt,  dt = 1 / fps,
/// with processNoise and measurementNoise times the identity as noise covariances. It starts at rest
/// with zero error covariance. The parameters are read in init.
///
/// predict feeds its prediction back as a measurement: the motion goes on unchanged, but the error
/// covariance shrinks as after a real measurement.
///
/// The edges are divided by the frame's size first; w and h are differences of the quotients.
///
/// Copies share the filter, and every destructor releases it: at most one of a tracker and its copies
/// may be destroyed, and none may be used afterwards. Assignment and a second init do not release the
/// filter held before, because a copy may still use it. Before init only destruction is allowed. Errors:
/// std::bad_alloc from init; the other operations allocate nothing and check nothing. NaNs and
/// infinities pass through.
class TN_KITS_API TarnKalmanFilterBoxTracker2D : TarnBoxTracker2D {
 public:
  /// width, height: the frame in pixels.
  TarnKalmanFilterBoxTracker2D(const int& width, const int& height);
  /// Shares the filter, see above.
  TarnKalmanFilterBoxTracker2D(const TarnKalmanFilterBoxTracker2D& other);
  /// Shares the other's filter; its own is not released, see above.
  TarnKalmanFilterBoxTracker2D& operator=(const TarnKalmanFilterBoxTracker2D& other);
  ~TarnKalmanFilterBoxTracker2D() override;
  void init(const float& x, const float& y, const float& w, const float& h) override;
  void track(float* x, float* y, float* w, float* h) override;
  void predict(float* x, float* y, float* w, float* h) override;

 private:
  KalmanFilter* filter;
};

/// Smooths one box with a One-Euro filter over its corners (x1, y1, x2, y2) in pixels, in double
/// precision: exponential smoothing whose cut-off frequency is minCutoff + beta |speed|, the speed being
/// smoothed itself with dCutoff. The factor for a cut-off f at r samples per second is
///   alpha = 1 / (r / (2 pi f) + 1),
/// and r is one over the time since the last track or predict (setTrackerClock), at first fps. Equal
/// times keep the rate. A clock that runs back gives a negative rate, which is used as it is. (The
/// filter is that of Casiez, Roussel and Vogel, "1 Euro Filter", CHI 2012.)
///
/// The first track returns the box measured, whatever init was given. predict returns the last filtered
/// box moved by its smoothed speed times the time since the last call; it changes nothing but that
/// time, so repeated predictions do not add up.
///
/// Copying, assignment, a second init, and errors: as for TarnKalmanFilterBoxTracker2D.
class TN_KITS_API TarnOneEuroFilterBoxTracker2D : TarnBoxTracker2D {
 public:
  /// width, height: the frame in pixels.
  TarnOneEuroFilterBoxTracker2D(const int& width, const int& height);
  /// Shares the filter, see above.
  TarnOneEuroFilterBoxTracker2D(const TarnOneEuroFilterBoxTracker2D& other);
  /// Shares the other's filter; its own is not released, see above.
  TarnOneEuroFilterBoxTracker2D& operator=(const TarnOneEuroFilterBoxTracker2D& other);
  ~TarnOneEuroFilterBoxTracker2D() override;
  void init(const float& x, const float& y, const float& w, const float& h) override;
  void track(float* x, float* y, float* w, float* h) override;
  void predict(float* x, float* y, float* w, float* h) override;

 private:
  friend struct OneEuroBoxSteps;
  OneEuroFilter* filter;
};

/// One track: its current box, its confidence and its own filter. T is one of the two per-box trackers.
/// The box is the filtered one after an update, the predicted one after a miss, and the detection's own
/// at birth; the label is that of the detection that began the track and never changes.
template <class T>
class TN_KITS_API TarnTrackedBoundingBox2D : public TarnBoundingBox2D {
 public:
  /// Copies the box, sets confidence to validThreshold and starts a filter for a frame of width by
  /// height pixels.
  TarnTrackedBoundingBox2D(const TarnBoundingBox2D& box, const int& width, const int& height);
  /// One frame with a detection. With the track's label, confidence goes up by one and the score is
  /// taken over; with another label, confidence goes down by one. Either way the box is filtered.
  void update(const TarnBoundingBox2D& det);
  /// One frame without a detection: confidence goes down by one and the box is predicted.
  void miss();
  /// Whether confidence is above lostThreshold.
  bool isAlive();
  /// Whether confidence is at least validThreshold.
  bool isValid();

  std::int32_t confidence;     ///< validThreshold at birth; maxConfidence says how far it goes
  std::shared_ptr<T> tracker;  ///< may be empty: then update and miss leave the box unfiltered
};

/// Follows any number of boxes from frame to frame. T is the filter of each box.
///
/// Copies are shallow: they hold the same tracks. A frame run on one changes boxes and confidences of
/// the tracks that both hold; births and deaths change only the list of the object called.
template <class T>
class TN_KITS_API TarnBoundingBoxesTracker {
 public:
  /// width, height: the frame in pixels.
  TarnBoundingBoxesTracker(const int& width, const int& height);
  /// Shares the tracks, see above.
  TarnBoundingBoxesTracker(const TarnBoundingBoxesTracker& other);
  /// Drops its own tracks and shares the other's.
  TarnBoundingBoxesTracker& operator=(const TarnBoundingBoxesTracker& other);
  ~TarnBoundingBoxesTracker();

  /// Runs one frame and returns the boxes of the confirmed tracks, oldest track first.
  ///
  /// Every track chooses the detection that its last box overlaps most (the first of equals), if by more
  /// than iouThreshold. A detection goes to the track that overlaps it most among those that chose it
  /// (the oldest of equals); the others miss this frame, even if they overlap another detection. Labels
  /// do not count in the matching: a detection of another label moves the track and costs it
  /// confidence. Detections without a track start new ones, in their order. Tracks with a confidence of
  /// lostThreshold or less are dropped.
  ///
  /// Overlap is intersection over union, but 1 when along both axes one box's extent lies within the
  /// other's. Overlaps that are not a number never match.
  ///
  /// Cost: one overlap for each pair of track and detection; memory grows with their sum.
  /// Errors: std::bad_alloc; the frame has not happened then. Its boxes can be given again.
  std::vector<TarnBoundingBox2D> track(const std::vector<TarnBoundingBox2D>& detections);

 private:
  friend class TarnIdentifiedBoxesTracker<T>;
  std::int32_t width;
  std::int32_t height;
  std::vector<std::shared_ptr<TarnTrackedBoundingBox2D<T>>> tracks;
};

/// A confirmed track's box with the track's number.
struct TarnIdentifiedBox : TarnBoundingBox2D {
  std::int64_t id;  ///< the track's number, from 1
};
static_assert(sizeof(TarnIdentifiedBox) == 32,
              "the layout of TarnIdentifiedBox is part of the binary interface");

/// A multi-box tracker that numbers its tracks: the same boxes in the same order, each with the identity
/// of its track, which never changes.
///
/// Each object of this class counts identities 1, 2, 3 ... in order of birth and never uses one twice.
/// Every track takes one at its birth, also one that is never reported. A copy shares the tracks and
/// goes on counting by itself. An assignment that throws std::bad_alloc may leave the target with the
/// source's tracks under new identities.
template <class T>
class TN_KITS_API TarnIdentifiedBoxesTracker {
 public:
  /// width, height: the frame in pixels.
  TarnIdentifiedBoxesTracker(const int& width, const int& height);
  /// Goes on with a shallow copy of `tracker`. The tracks that it holds get the identities 1 to n,
  /// oldest first.
  explicit TarnIdentifiedBoxesTracker(const TarnBoundingBoxesTracker<T>& tracker);
  /// Runs one frame: TarnBoundingBoxesTracker<T>::track with identities. Errors: as there, and no
  /// identity is used up.
  std::vector<TarnIdentifiedBox> track(const std::vector<TarnBoundingBox2D>& detections);

 private:
  struct Identity {
    std::shared_ptr<TarnTrackedBoundingBox2D<T>> record;
    std::int64_t id;
  };

  TarnBoundingBoxesTracker<T> tracker_;
  std::vector<Identity> identities_;  // of tracker_'s tracks, in their order
  std::int64_t next_id_ = 1;
};

#if !defined(TN_KITS_BUILDING)
// The library has these for its two filters; other arguments do not link.
extern template class TarnTrackedBoundingBox2D<TarnKalmanFilterBoxTracker2D>;
extern template class TarnTrackedBoundingBox2D<TarnOneEuroFilterBoxTracker2D>;
extern template class TarnBoundingBoxesTracker<TarnKalmanFilterBoxTracker2D>;
extern template class TarnBoundingBoxesTracker<TarnOneEuroFilterBoxTracker2D>;
extern template class TarnIdentifiedBoxesTracker<TarnKalmanFilterBoxTracker2D>;
extern template class TarnIdentifiedBoxesTracker<TarnOneEuroFilterBoxTracker2D>;
#endif

}  // namespace Tarn

#if defined(_MSC_VER)
#pragma warning(pop)
#endif

#endif  // TN_BOXTRACKER_H_
