// The journal of a change: what it takes to undo it, on the disk before the
// first request is sent.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/policyctl/change/state_directory.h"
#include "tools/policyctl/change/touched.h"

struct Journal {
  std::string id;       // of this one change
  std::string policyd;  // the instance that was to be changed
  std::string what;     // "apply edge.conf", for people
  // Milliseconds since the epoch by which a change that was carried out whole must be
  // confirmed; 0: it is not carried out yet, or being undone.
  std::int64_t confirm_by = 0;
  Touched touched;
};

// The journal of a change that is about to carry out `plan`, which says what it
// touches. Throws Failure REFUSED when the disk does not take it.
void write_journal(const StateDirectory& directory, const Journal& journal, const Plan& plan);
// Says that the change is carried out whole and by when it must be confirmed.
void confirm_journal_by(const StateDirectory& directory, std::int64_t confirm_by);
// Says that the change is being undone, and so can no longer be kept; on a disk
// that is full it says nothing, which must keep no change from being undone.
void mark_journal_undone(const StateDirectory& directory);
// None when no change is under way. Throws Failure when it is damaged.
[[nodiscard]] std::optional<Journal> read_journal(const StateDirectory& directory);
void remove_journal(const StateDirectory& directory);

// What became of a change that undid itself, for people, until the next journal
// is written. Nothing is kept on a disk that is full.
void keep_undo_note(const StateDirectory& directory, const std::string& note);
// Empty when there is none.
[[nodiscard]] std::string undo_note(const StateDirectory& directory);

// Held by the process that undoes a change that is not confirmed, for as long as it
// lives. None when it is held already.
[[nodiscard]] std::optional<ChangeLock> hold_guard(const StateDirectory& directory);
// What is wrong with a change that waits for its confirmation, a sentence; empty when
// none waits, or it is watched. Throws Failure when the journal is damaged.
[[nodiscard]] std::string unwatched_change(const StateDirectory& directory);

// The clock of `confirm_by`.
[[nodiscard]] std::int64_t milliseconds_since_epoch();
[[nodiscard]] bool has_journal(const StateDirectory& directory);
