#include "prompts/PromptLayout.h"

#include <algorithm>

using platform::Rect;

ButtonSet ButtonSetOf(uint32_t style) {
  switch (style) {
    case 1: return {{PromptOk, PromptCancel}, PromptOk};
    case 2: return {{PromptAbort, PromptRetry, PromptIgnore}, PromptIgnore};
    case 3: return {{PromptYes, PromptNo, PromptCancel}, PromptYes};
    case 4: return {{PromptYes, PromptNo}, PromptYes};
    case 5: return {{PromptRetry, PromptCancel}, PromptRetry};
    default: return {{PromptOk}, PromptOk};
  }
}

uint32_t ButtonLabelNumber(PromptResult button) {
  switch (button) {
    case PromptAbort: return 20016;
    case PromptCancel: return 20012;
    case PromptIgnore: return 20017;
    case PromptNo: return 20015;
    case PromptRetry: return 20013;
    case PromptYes: return 20014;
    default: return 20011;
  }
}

const wchar_t* ButtonDefaultLabel(PromptResult button) {
  switch (button) {
    case PromptAbort: return L"&Abort";
    case PromptCancel: return L"&Cancel";
    case PromptIgnore: return L"&Ignore";
    case PromptNo: return L"&No";
    case PromptRetry: return L"&Retry";
    case PromptYes: return L"&Yes";
    default: return L"&OK";
  }
}

int32_t LabelRate(const std::string& locale, int32_t base) {
  if (locale == "zh_CN" || locale == "zh_TW" || locale == "ko_KR" || locale == "ja_JP") return 18;
  return base;
}

int32_t ButtonWidth(const std::vector<std::wstring>& labels, int32_t rate) {
  size_t longest = 0;
  for (const std::wstring& label : labels) longest = std::max(longest, label.size());
  return std::max(static_cast<int32_t>(longest) * rate, 80);
}

std::vector<Rect> ButtonRow(int32_t clientWidth, int32_t clientHeight, int32_t count, int32_t buttonWidth) {
  std::vector<Rect> row;
  if (count <= 0) return row;
  int32_t gap = (clientWidth - count * buttonWidth) / (count + 1);
  if (gap < 0) {
    gap = RowMinimumGap;
    buttonWidth = std::max((clientWidth - (count + 1) * gap) / count, 1);
  }
  for (int32_t i = 0; i < count; ++i) {
    const int32_t left = gap + i * (buttonWidth + gap);
    row.push_back(Rect{left, clientHeight - 25, left + buttonWidth, clientHeight});
  }
  return row;
}

std::vector<Rect> ButtonColumn(int32_t clientWidth, int32_t count, int32_t buttonWidth) {
  std::vector<Rect> column;
  const int32_t right = std::min(365 + buttonWidth, std::max(clientWidth - RowMinimumGap, 365 + 1));
  for (int32_t i = 0; i < count; ++i) column.push_back(Rect{365, 10 + 30 * i, right, 35 + 30 * i});
  return column;
}

ImagePromptLayout LayOutImagePrompt(int32_t clientWidth, int32_t clientHeight, bool hasText, bool withImage) {
  ImagePromptLayout l;
  if (withImage) l.Text = Rect{10, clientHeight - 90, 10 + clientWidth - 40, clientHeight - 30};
  else l.Text = Rect{10, 10, 10 + clientWidth - 40, 10 + clientHeight - 40};
  const int32_t imageHeight = hasText ? clientHeight - 130 : clientHeight - 50;
  l.Image = Rect{10, 10, 10 + clientWidth - 40, 10 + imageHeight};
  const int32_t barTop = hasText ? clientHeight - 120 : clientHeight - 50;
  l.HorizontalBar = Rect{10, barTop, 10 + clientWidth - 30, barTop + 20};
  l.VerticalBar = Rect{clientWidth - 20, 10, clientWidth, 10 + imageHeight};
  return l;
}

platform::Size ImagePromptWindowSize(int32_t imageWidth, int32_t imageHeight, int32_t screenWidth, int32_t screenHeight) {
  return platform::Size{std::min(imageWidth + 50, screenWidth), std::min(imageHeight + 140, screenHeight)};
}
