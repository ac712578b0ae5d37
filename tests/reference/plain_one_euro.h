// The One-Euro filter of one value, with every quantity spelt out.
#ifndef TN_KITS_TESTS_REFERENCE_PLAIN_ONE_EURO_H_
#define TN_KITS_TESTS_REFERENCE_PLAIN_ONE_EURO_H_

#include <cmath>

namespace tn_test {

struct PlainOneEuro {
  double rate, min_cutoff, beta, derivative_cutoff;
  double output = 0.0;  // smoothed value, or what a prediction starts from before there is one
  double raw = 0.0, slope = 0.0, time = -1.0;
  bool started = false;

  void tick(double now) {
    if (time != -1.0 && now != -1.0 && now != time) rate = 1.0 / (now - time);
    time = now;
  }
  double alpha(double cutoff) const {
    const double tau = 1.0 / (6.283185307179586 * cutoff);
    return 1.0 / (rate * tau + 1.0);
  }
  double filter(double value, double now) {
    tick(now);
    if (!started) {
      output = value;
    } else {
      slope = slope + (rate * (value - raw) - slope) * alpha(derivative_cutoff);
      output = output + (value - output) * alpha(min_cutoff + beta * std::abs(slope));
    }
    started = true;
    raw = value;
    return output;
  }
  double predict(double now) {
    tick(now);
    return output + slope / rate;
  }
};

}  // namespace tn_test

#endif  // TN_KITS_TESTS_REFERENCE_PLAIN_ONE_EURO_H_
