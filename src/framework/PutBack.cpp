#include "framework/PutBack.h"

#include <map>

namespace {

std::recursive_mutex& Lock() {
  static std::recursive_mutex* lock = new std::recursive_mutex;
  return *lock;
}

std::map<int, std::function<void()>>& Notes() {
  static auto* notes = new std::map<int, std::function<void()>>;
  return *notes;
}

int LastTicket = 0;

}  // namespace

PutBack::Guard PutBack::Hold() { return Guard(Lock()); }

int PutBack::Note(std::function<void()> undo) {
  Guard hold = Hold();
  Notes()[++LastTicket] = std::move(undo);
  return LastTicket;
}

void PutBack::Drop(int ticket) {
  Guard hold = Hold();
  Notes().erase(ticket);
}

void PutBack::UndoAll() {
  // Taken for good: the thread that undoes is the last to change anything.
  Lock().lock();
  auto& notes = Notes();
  while (!notes.empty()) {
    auto latest = std::prev(notes.end());
    std::function<void()> undo = std::move(latest->second);
    notes.erase(latest);
    undo();
  }
}

size_t PutBack::Pending() {
  Guard hold = Hold();
  return Notes().size();
}
