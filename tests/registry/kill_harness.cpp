// Kills a writer at random moments, again and again, with a reader and a second writer alive, and checks
// after each kill that nothing acknowledged is lost and nothing is torn.
//
//   SPS_KILLS   how often, 200 unless told
//   SPS_SEED    for the moments of the kills
//
// Prints its figures and ends with 0 when all is well.
#include <fcntl.h>
#include <poll.h>

#include <array>
#include <chrono>
#include <csignal>
#include <ctime>
#include <random>

#include "platform/registry/RegistryView.h"
#include "tests/registry/RegistryTest.h"

namespace regtest {
namespace {

using Number = std::uint64_t;

[[noreturn]] void give_up(const std::string& what) {
  std::fprintf(stderr, "kill_harness: %s\n", what.c_str());
  std::_Exit(1);
}

Number numberIn(const Value& value) {
  if (value.status == ERROR_FILE_NOT_FOUND) return 0;
  if (value.status != 0) give_up("a read gave " + std::to_string(value.status));
  return std::strtoull(value.data.c_str(), nullptr, 10);
}

// Numbers through a pipe: what the other side acknowledged.
class Acknowledgements {
public:
  Acknowledgements() {
    if (::pipe2(m_ends.data(), O_CLOEXEC) != 0) give_up("no pipe");
    ::fcntl(m_ends[0], F_SETFL, O_NONBLOCK);
    ::fcntl(m_ends[0], F_SETPIPE_SZ, 1 << 20);
  }
  ~Acknowledgements() {
    for (const int end : m_ends) ::close(end);
  }
  Acknowledgements(const Acknowledgements&) = delete;
  Acknowledgements& operator=(const Acknowledgements&) = delete;

  void give(Number number) const {
    if (::write(m_ends[1], &number, sizeof number) != sizeof number) give_up("the pipe broke");
  }
  // The last one so far.
  Number drain() {
    Number number = 0;
    while (::read(m_ends[0], &number, sizeof number) == sizeof number) {
      m_last = number;
      ++m_count;
    }
    return m_last;
  }
  void await() {
    while (m_count == 0) {
      pollfd wait{m_ends[0], POLLIN, 0};
      if (::poll(&wait, 1, 60'000) != 1) give_up("nothing is acknowledged any more");
      drain();
    }
  }
  Number count() const { return m_count; }

private:
  std::array<int, 2> m_ends{};
  Number m_last = 0;
  Number m_count = 0;
};

// The writes of one writer, each number in two values that always agree: one inside the key's record, one
// outside. Beside them keys that come and go, and large values that grow and shrink.
class Writer {
public:
  explicit Writer(const std::u16string& name) : m_name(name) {}

  [[noreturn]] void run(Number from, const Acknowledgements& acknowledge) const {
    ::alarm(0);
    const Key key = Key::create(HKEY_LOCAL_MACHINE, m_name);
    for (Number number = from;; ++number) {
      write(key, number);
      acknowledge.give(number);
    }
  }
  // What the store has; ends the harness where the pair does not agree.
  Number look() const {
    const RegistryView view;
    const Key key = Key::open(HKEY_LOCAL_MACHINE, m_name);
    if (key.status() == ERROR_FILE_NOT_FOUND) return 0;
    const Number inside = numberIn(getValue(key, u"inside"));
    const Number outside = numberIn(getValue(key, u"outside"));
    if (inside != outside) give_up("torn: " + std::to_string(inside) + " and " + std::to_string(outside));
    return inside;
  }

private:
  static void write(HKEY key, Number number) {
    const std::string text = std::to_string(number);
    const std::u16string sub = u"sub " + support::toUtf16(std::to_string(number % 7));
    RegistryTransaction transaction;
    setValue(key, u"inside", text);
    setValue(key, u"outside", text + std::string(300 + number % 11 * 1000, ' '));
    if (number % 2 == 0) {
      setValue(Key::create(key, sub), u"v", text);
    } else {
      RegDeleteKeyW(key, sub.c_str());
    }
    if (const LSTATUS status = transaction.Commit(); status != 0)
      give_up("a commit gave " + std::to_string(status));
  }

  std::u16string m_name;
};

struct Figures {
  Number kills = 0;
  Number unacknowledged = 0;  // committed, and killed before that was said
  Number empty = 0;           // killed before the first commit
};

class Harness {
public:
  explicit Harness(unsigned seed) : m_random(seed) {}

  void run(Number kills) {
    m_reader = startChild([this] { return read(); });
    m_second = startChild([this]() -> int { m_secondWriter.run(1, m_secondAcknowledged); });
    m_secondAcknowledged.await();
    for (; m_figures.kills < kills; ++m_figures.kills) killOne();
    end(m_reader);
    end(m_second);
    checkSecond();
    const std::string finding = verifyFinding();
    if (!finding.empty()) give_up(finding);
  }
  void print(double seconds) {
    std::printf(
        "%llu kills in %.1f s, %llu writes acknowledged by the killed, %llu by the second writer, "
        "%llu looks of the reader\n"
        "%llu kills between commit and acknowledgement, %llu before the first commit; lost 0, torn 0, "
        "store sound\n",
        as(m_figures.kills), seconds, as(m_last), as(m_secondAcknowledged.count()), as(m_reads.drain()),
        as(m_figures.unacknowledged), as(m_figures.empty));
  }

private:
  static unsigned long long as(Number number) { return number; }
  static void check(bool holds, const std::string& otherwise) {
    if (!holds) give_up(otherwise);
  }
  static void end(pid_t child) {
    check(::kill(child, SIGKILL) == 0, "a child is gone");
    const std::string how = ending(child);
    check(how == "signal 9", "a child ended with " + how);
  }

  int read() {
    ::alarm(0);
    const Acknowledgements& reads = m_reads;
    Number last = 0;
    for (Number looks = 1;; ++looks) {
      const Number now = m_writer.look();
      check(now >= last, "the reader went back in time");
      last = now;
      m_secondWriter.look();
      if (looks % 1000 == 0) reads.give(looks);
    }
  }

  void checkSecond() {
    const Number said = m_secondAcknowledged.drain();  // before looking, since it goes on writing
    check(m_secondWriter.look() >= said, "the second writer's writes are lost");
  }

  void killOne() {
    Acknowledgements acknowledged;
    const Number from = m_last + 1;
    const pid_t victim = startChild([&]() -> int { m_writer.run(from, acknowledged); });
    // The moment is random, and lies in the opening of the store or between its writes by turns.
    if (m_figures.kills % 4 != 0) acknowledged.await();
    const timespec wait{0, std::uniform_int_distribution<long>(0, 5'000'000)(m_random)};
    ::nanosleep(&wait, nullptr);
    end(victim);
    const Number said = std::max(acknowledged.drain(), m_last);
    const Number stored = m_writer.look();
    check(stored >= said, "acknowledged " + std::to_string(said) + ", stored " + std::to_string(stored));
    check(stored <= said + 1, "more is stored than was written");
    checkSecond();
    m_figures.unacknowledged += stored - said;
    m_figures.empty += stored == m_last ? 1 : 0;
    m_last = stored;
    m_reads.drain();
  }

  TempStore m_store;
  std::mt19937 m_random;
  const Writer m_writer{u"Software\\Killed"};
  const Writer m_secondWriter{u"Software\\Second"};
  Acknowledgements m_secondAcknowledged;
  Acknowledgements m_reads;
  pid_t m_reader = 0;
  pid_t m_second = 0;
  Number m_last = 0;
  Figures m_figures;
};

unsigned setting(const char* name, unsigned otherwise) {
  const char* const value = std::getenv(name);
  return value != nullptr ? static_cast<unsigned>(std::strtoul(value, nullptr, 10)) : otherwise;
}

}  // namespace
}  // namespace regtest

int main() {
  const auto begin = std::chrono::steady_clock::now();
  regtest::Harness harness(regtest::setting("SPS_SEED", 20'240'613));
  harness.run(regtest::setting("SPS_KILLS", 200));
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
  harness.print(seconds.count());
  return 0;
}
