// A file the program writes is never seen half written under its real name: it is written under a
// temporary name beside it and put in place when it is whole. A write that fails leaves the old
// file (or none) and is told on standard error, naming the file and the system's reason.
#pragma once

#include <cstdio>
#include <string>

class WholeFile {
 public:
  // `path` as the program names it. With `keepOld`, the temporary file starts as a copy of the
  // present one and is positioned at its start, as an "r+b" open of it would be. A folder, or a
  // file that cannot be read, under the name fails the write rather than be lost. With `text`,
  // line ends are the system's, as in a "w+t" open.
  // `what` names the content in the line that tells of a failure: "cannot write <what> to <file>:
  // <reason>"; without it "cannot write <file>: <reason>".
  WholeFile(std::string path, bool keepOld, bool text = false, std::string what = "");
  ~WholeFile();
  WholeFile(const WholeFile&) = delete;
  WholeFile& operator=(const WholeFile&) = delete;

  // The temporary file, open for reading and writing; null when it could not be made (already told).
  std::FILE* File() const { return file; }
  // Closes it and puts it in place of the real one; false, told on standard error and with the
  // temporary removed, when any write or the move failed. A file is told of once in a process,
  // however often its writes fail.
  bool Commit();
  // Drops what was written; the real file stays as it was.
  void Discard();

 private:
  void Tell(int error) const;
  std::string path;
  std::string what;
  std::string temporary;
  std::FILE* file = nullptr;
};
