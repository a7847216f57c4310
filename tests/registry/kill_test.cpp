// Kills a writer at random moments, again and again, with a reader and a second writer alive, and checks
// after each kill that nothing acknowledged is lost and nothing is torn.
//
//   SPS_KILLS   how often, 200 unless told
//   SPS_SEED    for the moments of the kills
#include <sys/mman.h>

#include <atomic>
#include <ctime>
#include <random>
#include <stdexcept>

#include "platform/registry/RegistryView.h"
#include "tests/registry/RegistryTest.h"

namespace regtest {
namespace {

using Number = std::uint64_t;

// In a child it is what the parent finds the child ended for.
void require(bool holds, const std::string& otherwise) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", otherwise.c_str());
  throw std::runtime_error(otherwise);
}

// What a process acknowledged; it outlives the process.
class Acknowledgements {
public:
  Acknowledgements() {
    void* const page =
        ::mmap(nullptr, sizeof(Numbers), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    require(page != MAP_FAILED, "no memory to share");
    m_numbers = new (page) Numbers;
  }
  ~Acknowledgements() { ::munmap(m_numbers, sizeof(Numbers)); }
  Acknowledgements(const Acknowledgements&) = delete;
  Acknowledgements& operator=(const Acknowledgements&) = delete;

  void give(Number number) const {
    m_numbers->last = number;
    if (m_numbers->count++ == 0) m_first.give();
  }
  void awaitFirst() const { require(m_first.take() == '.', "nothing is acknowledged"); }
  Number last() const { return m_numbers->last; }
  Number count() const { return m_numbers->count; }

private:
  struct Numbers {
    std::atomic<Number> last{0};
    std::atomic<Number> count{0};
  };
  Pipe m_first;
  Numbers* m_numbers = nullptr;
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
  // What the store has.
  Number look() const {
    const RegistryView view;
    const Key key = Key::open(HKEY_LOCAL_MACHINE, m_name);
    if (key.status() == ERROR_FILE_NOT_FOUND) return 0;
    const Number inside = numberIn(getValue(key, u"inside"));
    const Number outside = numberIn(getValue(key, u"outside"));
    require(inside == outside, "torn: " + std::to_string(inside) + " and " + std::to_string(outside));
    return inside;
  }

private:
  static Number numberIn(const Value& value) {
    if (value.status == ERROR_FILE_NOT_FOUND) return 0;
    require(value.status == 0, "a read gave " + std::to_string(value.status));
    return std::strtoull(value.data.c_str(), nullptr, 10);
  }
  static void write(HKEY key, Number number) {
    const std::string text = std::to_string(number);
    const std::u16string sub = u"sub " + digits(static_cast<int>(number % 7));
    RegistryTransaction transaction;
    setValue(key, u"inside", text);
    setValue(key, u"outside", text + std::string(300 + number % 11 * 1000, ' '));
    if (number % 2 == 0) {
      setValue(Key::create(key, sub), u"v", text);
    } else {
      RegDeleteKeyW(key, sub.c_str());
    }
    const LSTATUS status = transaction.Commit();
    require(status == 0, "a commit gave " + std::to_string(status));
  }

  std::u16string m_name;
};

class RegistryKills : public ::testing::Test {
protected:
  static void end(pid_t child) {
    require(::kill(child, SIGKILL) == 0, "a child is gone");
    EXPECT_EQ(ending(child), "signal 9");
  }

  [[noreturn]] int read() const {
    ::alarm(0);
    for (Number last = 0;;) {
      const Number now = m_writer.look();
      require(now >= last, "the reader went back in time");
      last = now;
      m_secondWriter.look();
    }
  }

  void checkSecond() const {
    const Number said = m_secondSaid.last();  // before looking, since it goes on writing
    require(m_secondWriter.look() >= said, "the second writer's writes are lost");
  }

  // The moment is random, and lies in the opening of the store or between its writes by turns.
  void killOne(bool whileOpening) {
    const Acknowledgements acknowledged;
    const pid_t victim = startChild([&]() -> int { m_writer.run(m_last + 1, acknowledged); });
    if (!whileOpening) acknowledged.awaitFirst();
    const timespec wait{0, std::uniform_int_distribution<long>(0, 5'000'000)(m_random)};
    ::nanosleep(&wait, nullptr);
    end(victim);
    const Number said = std::max(acknowledged.last(), m_last);
    const Number stored = m_writer.look();
    require(stored >= said, "acknowledged " + std::to_string(said) + ", stored " + std::to_string(stored));
    require(stored <= said + 1, "more is stored than was written");
    checkSecond();
    m_unacknowledged += stored - said;
    m_last = stored;
  }

  TempStore m_store;
  std::mt19937 m_random{setting("SPS_SEED", 20'240'613)};
  const Writer m_writer{u"Software\\Killed"};
  const Writer m_secondWriter{u"Software\\Second"};
  Acknowledgements m_secondSaid;
  Number m_last = 0;
  Number m_unacknowledged = 0;  // committed, and killed before that was said
};

}  // namespace

TEST_F(RegistryKills, LoseAndTearNothing) {
  const unsigned kills = setting("SPS_KILLS", 200);
  const pid_t reader = startChild([this] { return read(); });
  const pid_t second = startChild([this]() -> int { m_secondWriter.run(1, m_secondSaid); });
  m_secondSaid.awaitFirst();
  for (unsigned kill = 0; kill < kills; ++kill) killOne(kill % 4 == 0);
  end(reader);
  end(second);
  checkSecond();
  EXPECT_EQ(verifyFinding(), "");
  std::printf(
      "%u kills in %llu writes, %llu of them between commit and acknowledgement; %llu writes beside\n", kills,
      static_cast<unsigned long long>(m_last), static_cast<unsigned long long>(m_unacknowledged),
      static_cast<unsigned long long>(m_secondSaid.count()));
}

}  // namespace regtest
