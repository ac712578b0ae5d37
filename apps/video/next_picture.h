// How a decoder is asked for its next picture.
#ifndef TN_KITS_APPS_VIDEO_NEXT_PICTURE_H_
#define TN_KITS_APPS_VIDEO_NEXT_PICTURE_H_

#include <cstdint>

namespace tarnkit {

enum class Answer { kPicture, kWantsInput, kEnd, kFault };

// Asks until there is a picture: true, or until there can be none any more: false.
//
// ask: the decoder's Answer. feed: gives it one more packet, or after the last the news that there are
// none; false if it did so before, or if reading was stopped. faults: raised by 1 for each kFault.
//
// A decoder of several threads reports one fault for each of its packets in flight, and then goes on.
// One that reports nothing but faults is fed on all the same, so that this ends when the input does.
template <class Ask, class Feed>
bool nextPicture(Ask ask, Feed feed, std::int64_t& faults) {
  constexpr int kMostInARow = 64;
  for (int in_a_row = 0;;) {
    const Answer answer = ask();
    if (answer == Answer::kPicture) return true;
    if (answer == Answer::kEnd) return false;
    if (answer == Answer::kFault) {
      ++faults;
      if (++in_a_row < kMostInARow) continue;
    }
    if (!feed()) return false;
    in_a_row = 0;
  }
}

}  // namespace tarnkit

#endif  // TN_KITS_APPS_VIDEO_NEXT_PICTURE_H_
