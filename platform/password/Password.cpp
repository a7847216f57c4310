#include "platform/password/Password.h"

#include <sys/random.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <span>
#include <system_error>

namespace {

// Random numbers from the kernel, fetched in blocks that a signal cannot interrupt.
class RandomSource {
public:
  RandomSource() = default;
  RandomSource(const RandomSource&) = delete;
  RandomSource& operator=(const RandomSource&) = delete;
  ~RandomSource() { explicit_bzero(m_block, sizeof m_block); }

  // Below the bound, each number equally likely; the bound is at least 1.
  std::size_t below(std::size_t bound) {
    const auto range = static_cast<std::uint32_t>(bound);
    constexpr std::uint32_t greatest = std::numeric_limits<std::uint32_t>::max();
    // Numbers past the last whole multiple of the range would favour the low results.
    const std::uint32_t fairEnd = greatest - greatest % range;
    std::uint32_t number = next();
    while (number >= fairEnd) number = next();
    return number % range;
  }

private:
  static constexpr std::size_t blockSize = 64;

  std::uint32_t next() {
    if (m_used == blockSize) fill();
    return m_block[m_used++];
  }

  void fill() {
    static_assert(sizeof m_block <= 256, "the kernel may deliver a greater block in parts");
    while (getrandom(m_block, sizeof m_block, 0) != static_cast<ssize_t>(sizeof m_block)) {
      if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "getrandom");
    }
    m_used = 0;
  }

  std::uint32_t m_block[blockSize] = {};
  std::size_t m_used = blockSize;
};

void draw(UnicodeString& password, RandomSource& random, const std::u16string& characters,
          std::int32_t count) {
  for (std::int32_t drawn = 0; drawn < count; ++drawn)
    password += characters[random.below(characters.size())];
}

// Brings the minima into what a password can hold, and returns their sum.
std::int32_t boundMinima(std::span<std::int32_t> minima) {
  std::int32_t sum = 0;
  for (std::int32_t& minimum : minima) {
    minimum = std::clamp(minimum, 0, Password::lengthLimit - sum);
    sum += minimum;
  }
  return sum;
}

void shuffle(UnicodeString& password, RandomSource& random) {
  char16_t* const characters = password.GetBuffer();
  for (auto left = static_cast<std::size_t>(password.GetLength()); left > 1; --left) {
    std::swap(characters[left - 1], characters[random.below(left)]);
  }
  password.ReleaseBuffer(password.GetLength());
}

}  // namespace

Password::Password(std::int32_t minLength, std::int32_t maxLength, const UnicodeString& punctuation,
                   std::int32_t minLower, std::int32_t minUpper, std::int32_t minDigits,
                   std::int32_t minPunctuation)
    : m_kinds{u"abcdefghijklmnopqrstuvwxyz", u"ABCDEFGHIJKLMNOPQRSTUVWXYZ", u"0123456789",
              std::u16string(punctuation.View())},
      m_minima{minLower, minUpper, minDigits, punctuation.IsEmpty() ? 0 : minPunctuation},
      m_minLength(std::clamp(minLength, boundMinima(m_minima), lengthLimit)),
      m_maxLength(std::clamp(maxLength, m_minLength, lengthLimit)) {
  for (const std::u16string& kind : m_kinds) m_all += kind;
}

UnicodeString Password::Create() const {
  RandomSource random;
  const std::int32_t spread = m_maxLength - m_minLength;
  const std::int32_t length =
      m_minLength + static_cast<std::int32_t>(random.below(static_cast<std::size_t>(spread) + 1));
  UnicodeString password;
  password.GetBuffer(length);
  password.ReleaseBuffer(0);
  for (int kind = 0; kind < kinds; ++kind) draw(password, random, m_kinds[kind], m_minima[kind]);
  draw(password, random, m_all, length - password.GetLength());
  shuffle(password, random);
  return password;
}
