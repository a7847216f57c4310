#include "tools/sps/Terminal.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <iostream>

namespace tool {

namespace {

using namespace std::chrono_literals;
constexpr auto patience = 500ms;
constexpr auto redrawEvery = 100ms;
constexpr std::uint64_t barWidth = 30;

bool mayColour(int descriptor) {
  const char* noColour = std::getenv("NO_COLOR");
  const char* kind = std::getenv("TERM");
  if (noColour != nullptr && *noColour != '\0') return false;
  return isTerminal(descriptor) && (kind == nullptr || std::string(kind) != "dumb");
}

std::string bar(std::uint64_t ready, std::uint64_t total) {
  if (total == 0) return std::to_string(ready);
  const double part = std::min(1.0, static_cast<double>(ready) / static_cast<double>(total));
  const auto filled = static_cast<std::uint64_t>(part * static_cast<double>(barWidth));
  const auto percent = static_cast<int>(part * 100.0);
  return '[' + std::string(filled, '#') + std::string(barWidth - filled, ' ') + "] " +
         std::to_string(percent) + '%';
}

}  // namespace

bool isTerminal(int descriptor) {
  return ::isatty(descriptor) == 1;
}

Style::Style(int descriptor) : m_on(mayColour(descriptor)) {}

std::string Style::Wrap(const char* code, const std::string& text) const {
  if (!m_on) return text;
  return std::string("\033[") + code + 'm' + text + "\033[0m";
}

bool canAsk() {
  return isTerminal(STDIN_FILENO) && isTerminal(STDERR_FILENO);
}

bool ask(const std::string& question) {
  std::cerr << question << " [y/N] " << std::flush;
  std::string answer;
  if (!std::getline(std::cin, answer)) return false;
  std::transform(answer.begin(), answer.end(), answer.begin(),
                 [](unsigned char byte) { return static_cast<char>(std::tolower(byte)); });
  return answer == "y" || answer == "yes";
}

Progress::Progress(std::string label)
    : m_label(std::move(label)),
      m_enabled(isTerminal(STDERR_FILENO)),
      m_next(std::chrono::steady_clock::now() + patience) {}

Progress::~Progress() {
  if (m_drawn) std::cerr << "\r\033[K" << std::flush;
}

void Progress::Show(std::uint64_t ready, std::uint64_t total) {
  if (!m_enabled) return;
  const auto now = std::chrono::steady_clock::now();
  if (now < m_next) return;
  m_next = now + redrawEvery;
  m_drawn = true;
  std::cerr << '\r' << m_label << ' ' << bar(ready, total) << "\033[K" << std::flush;
}

}  // namespace tool
