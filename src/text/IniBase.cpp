#include "text/IniBase.h"

#include <cstdio>

#include "platform/files.h"
#include "text/TextHelpers.h"
#include "text/WholeFile.h"

namespace {

std::string& CommentMarker() {
  static std::string marker = ";";
  return marker;
}

// Takes `item` into `owned` unless it is already there.
template <typename T>
void Own(std::vector<std::unique_ptr<T>>& owned, T* item) {
  for (const auto& held : owned)
    if (held.get() == item) return;
  owned.emplace_back(item);
}

}  // namespace

std::string Record::ToString() const { return key + " = " + value + "\n"; }

Record* Section::GetRecord(const std::string& key) const {
  auto found = records.find(key);
  return found == records.end() ? nullptr : found->second;
}

void Section::AddRecord(Record* record) {
  if (!record) return;
  Own(owned, record);
  records[record->Key()] = record;
}

void Section::RemoveRecord(const std::string& key) { records.erase(key); }

std::string Section::ToString() const {
  std::string text = "[" + name + "]\n";
  for (const auto& entry : records) text += entry.second->ToString();
  return text;
}

IniBase::IniBase(const std::string& path) : fileName(path) {
  std::FILE* file = OpenTextFile(path);
  if (!file) return;
  std::string line;
  int c;
  bool pending = false;
  while ((c = std::fgetc(file)) != EOF) {
    if (c == '\n') {
      ParseLine(line);
      line.clear();
      pending = false;
    } else {
      line += static_cast<char>(c);
      pending = true;
    }
  }
  if (pending) ParseLine(line);
  std::fclose(file);
}

void IniBase::SetCommentMarker(const std::string& marker) { CommentMarker() = marker; }

std::string IniBase::GetCommentMarker() { return CommentMarker(); }

Section* IniBase::GetSection(std::string name) const {
  auto found = sections.find(name);
  return found == sections.end() ? nullptr : found->second;
}

void IniBase::AddSection(Section* section) {
  if (!section) return;
  Own(owned, section);
  sections[section->Name()] = section;
}

void IniBase::ParseLine(const std::string& line) {
  if (line.empty()) return;
  std::string text = line;
  const std::string& marker = CommentMarker();
  if (!marker.empty()) {
    size_t at = text.find(marker);
    if (at != std::string::npos) text.erase(at);
  }
  text = Trim(text);
  if (text.empty()) return;

  if (text.size() > 2 && text[0] == '[') {
    size_t close = text.find(']');
    if (close == 1) return;
    std::string name = close == std::string::npos ? text.substr(1) : text.substr(1, close - 1);
    currentSection = new Section(Trim(name));
    AddSection(currentSection);
    return;
  }

  size_t equals = text.find('=');
  if (equals == std::string::npos || equals == 0 || !currentSection) return;
  currentSection->AddRecord(new Record(Trim(text.substr(0, equals)), Trim(text.substr(equals + 1))));
}

std::string IniBase::ToString() const {
  std::string text;
  for (const auto& entry : sections) text += entry.second->ToString();
  return text;
}

void IniBase::Save(const std::string& path) const {
  WholeFile file(path, false, true);
  if (!file.File()) return;
  const std::string text = ToString() + "\n";
  std::fwrite(text.data(), 1, text.size(), file.File());
  file.Commit();
}
