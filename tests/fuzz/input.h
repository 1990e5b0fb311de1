#ifndef VORGATE_TESTS_FUZZ_INPUT_H
#define VORGATE_TESTS_FUZZ_INPUT_H

// How an input of the fuzzing targets turns into texts and choices.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

// Ends the program, which is a finding, where something does not hold.
#define HOLDS(condition)                                                                      \
  ((condition)                                                                                \
       ? void()                                                                               \
       : (std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition), \
          std::abort()))

namespace fuzz {

// Texts are taken from the front of the input, each up to a backslash that another
// byte follows (two stand for one); choices from its back, a byte each. An input that
// is used up gives empty texts and first choices. seeds.py writes in this form.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : bytes_(data, size) {}

  std::string text() { return texts_.emplace_back(bytes_.ConsumeRandomLengthString()); }

  // The first text again, so that a request and a call hold the same; or another
  // one, a new one, a part of one, or two in a row.
  std::string text_or_earlier() {
    const std::size_t kind = texts_.empty() ? 2 : choice(5);
    if (kind == 2) return text();
    const std::string& earlier =
        texts_[kind == 0 ? 0 : choice(std::min<std::size_t>(texts_.size(), 256))];
    if (kind == 3) return earlier.substr(std::min(choice(8), earlier.size()), choice(256));
    return kind == 4 ? earlier + texts_.back() : earlier;
  }

  // Below `count`, which is at most 256.
  std::size_t choice(std::size_t count) {
    return bytes_.ConsumeIntegralInRange<unsigned>(0, static_cast<unsigned>(count - 1));
  }
  bool flag() { return choice(2) == 1; }

 private:
  FuzzedDataProvider bytes_;
  std::vector<std::string> texts_;
};

}  // namespace fuzz

#endif  // VORGATE_TESTS_FUZZ_INPUT_H
