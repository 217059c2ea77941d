// A failure code with deferred log lines, thrown from inside a subtest up to the manager.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class KestMessage {
 public:
  static constexpr uint32_t NoMessage = 0xFFFFFFFFu;

  KestMessage() = default;
  KestMessage(int32_t category, uint32_t number, const std::string& text)
      : Category(category), Number(number), Text(text) {}
  virtual ~KestMessage();

  int32_t Category = 0;
  uint32_t Number = NoMessage;
  std::string Text;
};

class KestException {
 public:
  explicit KestException(uint32_t code = 0) : Code(code) {}
  KestException(const KestException& other);
  KestException& operator=(const KestException& other);
  virtual ~KestException();

  void SetCode(uint32_t code) { Code = code; }
  uint32_t GetCode() const { return Code; }
  void AddMessage(int32_t category, uint32_t number, const std::string& text);
  const std::vector<KestMessage*>& GetMessages() const { return Messages; }

  // Writes the deferred lines, then "TestFailed <code> """.
  void Report() const;

 private:
  void CopyMessages(const KestException& other);
  void Clear();

  uint32_t Code;
  std::vector<KestMessage*> Messages;
};
