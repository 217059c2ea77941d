#include "framework/KestException.h"

#include "framework/Kestout.h"

KestMessage::~KestMessage() = default;

KestException::KestException(const KestException& other) : Code(other.Code) { CopyMessages(other); }

KestException& KestException::operator=(const KestException& other) {
  if (this != &other) {
    Clear();
    Code = other.Code;
    CopyMessages(other);
  }
  return *this;
}

KestException::~KestException() { Clear(); }

void KestException::CopyMessages(const KestException& other) {
  for (const KestMessage* message : other.Messages) Messages.push_back(new KestMessage(*message));
}

void KestException::Clear() {
  for (KestMessage* message : Messages) delete message;
  Messages.clear();
}

void KestException::AddMessage(int32_t category, uint32_t number, const std::string& text) {
  Messages.push_back(new KestMessage(category, number, text));
}

void KestException::Report() const {
  for (const KestMessage* message : Messages)
    if (message->Number < KestMessage::NoMessage) Kestout::LogMessage(message->Category, message->Number, message->Text);
  Kestout::TestFailed(Code, "");
}
