#include "bench/RemoteRows.h"

#include <hiredis/hiredis.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <barrier>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "src/SpSrvClntEx.h"
#include "src/spc.h"

namespace bench {

namespace {

constexpr int clientProcessor = 0;

struct Arrangement {
  const char* name;
  Place place;
};
constexpr Arrangement arrangements[] = {{"same-core", Place::Same}, {"two-cores", Place::Apart}};

std::u16string wide(const std::string& ascii) {
  return {ascii.begin(), ascii.end()};
}

// Reads parameters of the master, which has them all; this machine's tree is not asked.
class RemoteReader {
public:
  explicit RemoteReader(const std::string& endpoint) {
    m_spc.Init();
    if (!m_spc.ConnectSpService(wide(endpoint).c_str(), false)) throw std::runtime_error("no connection");
  }
  bool read(const Access& access) { return m_spc.GetPar(access.topic, access.name, m_value); }
  bool holds(std::uint32_t value) const { return m_value == UnicodeString(textOf(value).c_str()); }

private:
  Spc m_spc;
  UnicodeString m_value;
};

class EchoReader {
public:
  explicit EchoReader(const std::string& socket) : m_socket(connectTo(socket)) {}
  ~EchoReader() { ::close(m_socket); }
  EchoReader(const EchoReader&) = delete;
  EchoReader& operator=(const EchoReader&) = delete;
  bool read(const Access&) {
    constexpr ssize_t size{sizeof m_message};
    return ::send(m_socket, m_message.data(), m_message.size(), MSG_NOSIGNAL) == size &&
           ::recv(m_socket, m_message.data(), m_message.size(), MSG_WAITALL) == size;
  }
  bool holds(std::uint32_t) const { return true; }

private:
  int m_socket;
  std::array<char, 100> m_message{};
};

struct FreeReply {
  void operator()(void* reply) const { ::freeReplyObject(reply); }
};
struct FreeContext {
  void operator()(redisContext* context) const { ::redisFree(context); }
};

class RedisConnection {
public:
  explicit RedisConnection(const std::string& socket) : m_context(::redisConnectUnix(socket.c_str())) {
    if (!m_context || m_context->err != 0) throw std::runtime_error("no connection to redis");
  }
  // The reply, where it is of that type, until the next one; else null.
  template <class... Words>
  const redisReply* ask(int type, const char* format, Words... words) {
    m_reply.reset(static_cast<redisReply*>(::redisCommand(m_context.get(), format, words...)));
    return m_reply && m_reply->type == type ? m_reply.get() : nullptr;
  }
  bool set(const Access& access, const std::string& text) {
    return ask(REDIS_REPLY_STATUS, "SET %s %s", access.key, text.c_str()) != nullptr;
  }

private:
  std::unique_ptr<redisContext, FreeContext> m_context;
  std::unique_ptr<redisReply, FreeReply> m_reply;
};

class RedisReader {
public:
  RedisReader(const std::string& socket, const std::vector<Access>& order) : m_redis(socket) {
    for (const Access& access : order) m_redis.set(access, textOf(access.value));
  }
  bool read(const Access& access) {
    const redisReply* const reply = m_redis.ask(REDIS_REPLY_STRING, "GET %s", access.key);
    if (reply == nullptr) return false;
    m_value.assign(reply->str, reply->len);
    return true;
  }
  bool holds(std::uint32_t value) const { return m_value == textOf(value); }

private:
  RedisConnection m_redis;
  std::string m_value;
};

template <class Reader>
void measureRemote(benchmark::State& state, const std::vector<Access>& order, Reader& reader) {
  for (const Access& access : order) {
    if (!reader.read(access) || !reader.holds(access.value)) return state.SkipWithError("a value is wrong");
  }
  measure(state, order.size(), [&](std::size_t index) { return reader.read(order[index]); });
}

// What takes two processes is measured by the clock.
template <class Run>
void addReadRow(RemoteLab& lab, const std::string& name, Run run) {
  addRow(name, [&lab, run](benchmark::State& state, const std::string&) {
    const std::vector<Access>& order = lab.local().readOrder(Shape::Strings, thousand, plainText, thousand);
    stayOn(clientProcessor);
    run(state, order);
  })->UseRealTime();
}

void addReads(RemoteLab& lab, const std::string& arrangement, Place place) {
  addReadRow(lab, "sps/remote-get/unix/" + arrangement, [&lab, place](auto& state, const auto& order) {
    lab.useService(thousand, place);
    RemoteReader reader(lab.endpoint());
    measureRemote(state, order, reader);
  });
  addReadRow(lab, "sps/remote-get/tls/" + arrangement, [&lab, place](auto& state, const auto& order) {
    lab.useService(thousand, place);
    RemoteReader reader(lab.tlsEndpoint());
    measureRemote(state, order, reader);
  });
  addReadRow(lab, "echo/remote-get/unix/" + arrangement, [&lab, place](auto& state, const auto& order) {
    EchoReader reader(lab.echo(place));
    measureRemote(state, order, reader);
  });
  addReadRow(lab, "redis/remote-get/unix/" + arrangement, [&lab, place](auto& state, const auto& order) {
    RedisReader reader(lab.redis(place), order);
    measureRemote(state, order, reader);
  });
}

// One of several who write at once, each over a connection of its own.
class Writer {
public:
  static constexpr const char* name = "sps";
  static std::string endpointOf(RemoteLab& lab, std::uint32_t size) {
    lab.useService(size, Place::Apart);
    return lab.endpoint();
  }

  explicit Writer(const std::string& endpoint) {
    m_spc.Init();
    if (!m_spc.ConnectSpService(wide(endpoint).c_str(), false)) throw std::runtime_error("no connection");
  }
  bool write(const Access& access) {
    const std::string text = textOf(++m_count);
    return m_spc.SetPar(access.topic, access.name, UnicodeString(text.c_str()));
  }

private:
  Spc m_spc;
  std::uint32_t m_count = 0;
};

class RedisWriter {
public:
  static constexpr const char* name = "redis";
  static std::string endpointOf(RemoteLab& lab, std::uint32_t /*size*/) { return lab.durableRedis(); }

  explicit RedisWriter(const std::string& socket) : m_redis(socket) {}
  bool write(const Access& access) { return m_redis.set(access, textOf(++m_count)); }

private:
  RedisConnection m_redis;
  std::uint32_t m_count = 0;
};

constexpr std::size_t writesEach = 32;

// The time from when all are ready to when all are done, in seconds; nothing where a write failed.
template <class EachWriter>
std::optional<double> writeAll(std::vector<std::unique_ptr<EachWriter>>& writers,
                               const std::vector<Access>& places) {
  std::atomic<bool> isRight{true};
  std::barrier together(static_cast<std::ptrdiff_t>(writers.size() + 1));
  std::vector<std::jthread> threads;
  for (std::size_t which = 0; which < writers.size(); ++which) {
    threads.emplace_back([&, which] {
      together.arrive_and_wait();
      for (std::size_t count = 0; count < writesEach; ++count) {
        if (!writers[which]->write(places[(which * writesEach + count) % places.size()])) isRight = false;
      }
      together.arrive_and_wait();
    });
  }
  together.arrive_and_wait();
  const auto begin = std::chrono::steady_clock::now();
  together.arrive_and_wait();
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
  if (!isRight) return std::nullopt;
  return time.count();
}

// The time of one write is that of all, divided: what a writer waits is as many times more as there are.
template <class EachWriter>
void addWrites(RemoteLab& lab, const std::string& shape, std::uint32_t size, std::size_t count) {
  addRow(EachWriter::name + ("/remote-set/" + shape) + "/" + std::to_string(count),
         [&lab, size, count](benchmark::State& state, const std::string&) {
           stayOn(clientProcessor);
           const std::vector<Access>& places = lab.local().writeOrder(size);
           const std::string endpoint = EachWriter::endpointOf(lab, size);
           std::vector<std::unique_ptr<EachWriter>> writers;
           while (writers.size() < count) writers.push_back(std::make_unique<EachWriter>(endpoint));
           for ([[maybe_unused]] auto iteration : state) {
             const std::optional<double> time = writeAll(writers, places);
             if (!time) return state.SkipWithError("a write failed");
             state.SetIterationTime(*time / static_cast<double>(count * writesEach));
           }
         })
      ->UseManualTime()
      ->Iterations(lab.local().isQuick() ? 1 : 16);
}

// A row that asks for one long answer.
template <class Step>
void addLongRow(RemoteLab& lab, const std::string& name, Step step) {
  addRow(name,
         [&lab, step](benchmark::State& state, const std::string&) {
           stayOn(clientProcessor);
           lab.useService(hundredThousand, Place::Apart);
           SpSrvClntEx client;
           if (!client.Init(wide(lab.endpoint()).c_str())) return state.SkipWithError("no connection");
           for ([[maybe_unused]] auto iteration : state) {
             if (!step(client)) return state.SkipWithError("a call failed");
           }
         })
      ->UseRealTime()
      ->Iterations(1);
}

constexpr std::uint32_t listed = 10'000;
const UnicodeString listPath = u"HKEY_LOCAL_MACHINE\\Software\\Velor\\SPS\\Default\\Listed";

// Through the service, in one import.
UnicodeString listText(std::uint32_t children) {
  UnicodeString text = u"Windows Registry Editor Version 5.00\r\n\r\n";
  for (std::uint32_t index = 0; index < children; ++index) {
    text += u"[" + listPath + u"\\" + UnicodeString(static_cast<std::int32_t>(index)) +
            u"]\r\n\"@type\"=hex:53,00\r\n";
  }
  return text;
}

void addLongRows(RemoteLab& lab) {
  addLongRow(lab, "sps/remote-list/10k", [&lab, made = std::make_shared<bool>()](SpSrvClntEx& client) {
    const std::uint32_t children = lab.local().scaled(listed);
    if (!*made && !client.SetSpRegImport(listText(children), nullptr)) return false;
    *made = true;
    const auto* nodes = client.GetChildNodes(listPath, nullptr);
    return nodes && nodes->size() == children;
  });
  addLongRow(lab, "sps/remote-export/100k", [](SpSrvClntEx& client) {
    UnicodeString text;
    return client.GetSpRegExport(text, nullptr) && text.GetLength() > 100'000;
  });
  addLongRow(lab, "sps/remote-import/100k", [text = std::make_shared<UnicodeString>()](SpSrvClntEx& client) {
    if (text->IsEmpty() && !client.GetSpRegExport(*text, nullptr)) return false;
    return client.SetSpRegImport(*text, nullptr);
  });
}

}  // namespace

void registerRemote(RemoteLab& lab) {
  for (const auto& [name, place] : arrangements) addReads(lab, name, place);
  for (const std::size_t count : {1U, 8U, 64U}) {
    addWrites<Writer>(lab, "1k", thousand, count);
    addWrites<RedisWriter>(lab, "1k", thousand, count);
  }
  for (const std::size_t count : {1U, 64U}) addWrites<Writer>(lab, "100k", hundredThousand, count);
  addLongRows(lab);
}

}  // namespace bench
