/// \file
/// A linear Kalman filter over dense single-precision matrices of sizes chosen at run time.
#ifndef TN_KALMANFILTER_H_
#define TN_KALMANFILTER_H_

#include <Eigen/Dense>

#include "tn_kits_export.h"

// The matrices below are allocated on one side of the library's boundary and released on the other, and
// Eigen's allocator depends on its alignment, which depends on the instruction set compiled for.
static_assert(EIGEN_MAX_ALIGN_BYTES == 16,
              "tn_kits shares Eigen matrices with its callers and is compiled for 16-byte alignment: "
              "compile sources that include tn_kalmanfilter.h for the baseline instruction set (no "
              "-mavx, no -march=native, no /arch:AVX) or define EIGEN_MAX_ALIGN_BYTES=16 everywhere");

#if defined(_MSC_VER)
#pragma warning(push)
// The public matrices are templates of a header-only library, which has nothing to import.
#pragma warning(disable : 4251)
#endif

namespace Tarn {

/// Estimates a state from measurements. The model is
///   state' = transition * state            + noise of covariance processNoiseCov
///   z      = measurement * state           + noise of covariance measurementNoiseCov
/// The owner writes the model matrices and the initial state straight into the members, then calls
/// predict and correct in any order, as a rule one predict and at most one correct for each step of
/// time. DP, MP and CP are the dimensions of state, measurement and control.
///
/// Sizes are checked by Eigen's own assertions, which are active in every build of the library: a member
/// that a call reads, or a measurement, of the wrong size ends the program there. A member that the call
/// only writes takes its size from the result. Numbers are not checked: a singular innovation covariance
/// gives infinities and NaNs, which reach gain, state and covariance.
///
/// Filters of DP = 12 and MP = 4 take a fast path: products sum over the inner index in ascending order,
/// and nothing is allocated but correct's copy of its argument. With other sizes Eigen orders the sums
/// and takes temporaries from the heap. Neither uses fused multiply-add.
///
/// Copies are deep. Threads: a filter is used by one thread at a time; filters share nothing.
class TN_KITS_API KalmanFilter {
 public:
  /// As init. Errors: as init.
  KalmanFilter(int DP, int MP, int CP);

  /// Sizes and resets every member to the value noted below. A used filter may be initialised again;
  /// when CP is not above 0, `control` is left as it was.
  /// Errors: assertion "DP > 0 && MP > 0"; std::bad_alloc, with the filter as it was.
  void init(int DP, int MP, int CP);

  /// Time update: predictedState = F x and predictedErrorCov = (F P) F^T + Q, for x and P the corrected
  /// pair. The prediction becomes the corrected pair too, so that a second predict goes on from it.
  /// `control` is not used. Returns predictedState. Errors: std::bad_alloc; the corrected pair is as it
  /// was, and the call can be repeated.
  const Eigen::MatrixXf& predict();

  /// Measurement update with an MP x 1 measurement z. With P = predictedErrorCov and H = measurement:
  ///   scratchHP = H P                           innovationCov = scratchHP H^T + R
  ///   gainTransposed = innovationCov^-1 scratchHP      gain = gainTransposed^T
  ///   innovation = z - H predictedState
  ///   correctedState = predictedState + gain innovation
  ///   correctedErrorCov = P - gain scratchHP
  /// The inverse is computed by LU decomposition with partial pivoting. The gain is optimal for
  /// symmetric covariances only; with others it is what the formulas say. Returns correctedState.
  /// Errors: as predict.
  const Eigen::MatrixXf& correct(Eigen::MatrixXf measurementVector);

  Eigen::MatrixXf predictedState;       ///< DP x 1, zero: state before the measurement
  Eigen::MatrixXf correctedState;       ///< DP x 1, zero: state after it, or else the prediction
  Eigen::MatrixXf transition;           ///< DP x DP, identity: F
  Eigen::MatrixXf control;              ///< DP x CP, zero; 0 x 0 without control: never read
  Eigen::MatrixXf measurement;          ///< MP x DP, zero: H
  Eigen::MatrixXf processNoiseCov;      ///< DP x DP, identity: Q
  Eigen::MatrixXf measurementNoiseCov;  ///< MP x MP, identity: R
  Eigen::MatrixXf predictedErrorCov;    ///< DP x DP, zero: error covariance before the measurement
  Eigen::MatrixXf gain;                 ///< DP x MP, zero: K
  Eigen::MatrixXf correctedErrorCov;    ///< DP x DP, zero: error covariance after it
  Eigen::MatrixXf scratchFP;            ///< DP x DP, zero: F P
  Eigen::MatrixXf scratchHP;            ///< MP x DP, zero: H P
  Eigen::MatrixXf innovationCov;        ///< MP x MP, zero: H P H^T + R
  Eigen::MatrixXf gainTransposed;       ///< MP x DP, zero: the gain before transposition
  Eigen::MatrixXf innovation;           ///< MP x 1, zero: measurement minus predicted measurement
};

}  // namespace Tarn

#if defined(_MSC_VER)
#pragma warning(pop)
#endif

#endif  // TN_KALMANFILTER_H_
