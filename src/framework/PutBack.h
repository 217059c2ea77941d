// What a run changes on the machine and must leave as it found it however the run ends: the
// display mode, the display configuration, the power policy. The code that makes such a change
// notes how to undo it while it holds the guard, and drops the note once it has undone it itself.
// A console that is closed ends the process without any way out of the run's own, so the console
// handler undoes whatever is still noted before the process goes.
#pragma once

#include <functional>
#include <mutex>

class PutBack {
 public:
  using Guard = std::unique_lock<std::recursive_mutex>;

  // Held around a change and its note, so that a close never falls between the two. Once the
  // notes have been undone on a close, it is never granted again: the process is ending, and no
  // change may follow the undo.
  static Guard Hold();
  // Notes an undo; the ticket drops it. Tickets are never 0.
  static int Note(std::function<void()> undo);
  static void Drop(int ticket);
  // Runs every noted undo once, the latest first, and keeps the guard from then on.
  static void UndoAll();
  // How many undos are noted.
  static size_t Pending();
};
