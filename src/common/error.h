#pragma once

// How the core says that something went wrong. One convention, as in ninja:
//
// - A routine that can fail returns bool, or std::optional<T> when it gives a
//   value, and takes a `std::string* err` after the arguments it works on
//   (null: the caller does not want the words; some older routines call it
//   `why` or `error`). On failure it returns false (nullopt) and puts into
//   *err one line that names the place first and then says what is wrong: "/srv/import/BG_...: the
//   file exists but cannot be read",
//   "{C8367F72-...} method 36 (get data record) failed: ...", "date
//   conversion failed: \"2004130\" \"\"".
// - Outputs change only on success: a call that fails leaves its targets as
//   they were, which is the module's rule for a failing statement. Callers
//   that go on after a failure assign only what they got (`if (auto v = ...)`).
// - Nothing is thrown across a function of the core, and no routine of the
//   core ends the process.
// - A routine that goes on after failures (the decoding of a category, the
//   reading, the writing of the import package) does not fail as a whole: it
//   keeps each failure as one such line in the result it returns (`losses`,
//   `errors`, `save_failures`), so that no loss goes unseen.
// - A fact worth telling that is no failure of the call that found it (a
//   settings hive that reads as empty, a meter control that could not be
//   loaded) is kept once, by the object that found it, and handed out once
//   (`TakeNotices`); nobody keeps a copy of it.
// - Where a caller acts on which failure it was, the object that failed keeps
//   that as its state for the caller to ask (`ImportSession::way_out()`); the
//   words are still the err line.

#include <optional>
#include <string>
#include <utility>

namespace mi {

// Puts `message` into *err when err is given and returns false, so that a
// routine can end with `return Fail(err, "...")`.
inline bool Fail(std::string* err, std::string message) {
  if (err != nullptr) *err = std::move(message);
  return false;
}

// The same for a routine that returns std::optional: `return NoValue(err, "...")`.
inline std::nullopt_t NoValue(std::string* err, std::string message) {
  Fail(err, std::move(message));
  return std::nullopt;
}

}  // namespace mi
