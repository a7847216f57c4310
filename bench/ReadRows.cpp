// Reading: GetPar of each type from trees of three sizes, and the same texts from the peers.
#include "bench/Rows.h"
#include "src/spc.h"

namespace bench {

namespace {

struct Load {
  const char* name;
  std::uint32_t size;
  std::uint32_t limit;  // parameters that are read, over and over
};
constexpr Load loads[] = {{"1k", thousand, thousand},
                          {"100k", hundredThousand, hundredThousand},
                          {"1M-hot", million, thousand},
                          {"1M-cold", million, million}};

// What reads from the library: one object with the place of its value. The user's name has no effect on
// parameters without override.
template <class Value>
class NumberReader {
public:
  NumberReader() { m_spc.Init(); }
  bool read(const Access& access) { return m_spc.GetPar(access.topic, access.name, &m_value); }
  bool holds(std::uint32_t value) const { return m_value == numberOf<Value>(value); }

private:
  Spc m_spc{nullptr, user, nullptr};
  Value m_value{};
};

class StringReader {
public:
  StringReader() { m_spc.Init(); }
  bool read(const Access& access) { return m_spc.GetPar(access.topic, access.name, m_value); }
  bool holds(std::uint32_t value) const { return m_value == UnicodeString(textOf(value).c_str()); }

private:
  Spc m_spc{nullptr, user, nullptr};
  UnicodeString m_value;
};

class BufferReader {
public:
  BufferReader() { m_spc.Init(); }
  bool read(const Access& access) {
    return m_spc.GetPar(access.topic, access.name, m_value, static_cast<std::uint32_t>(std::size(m_value)));
  }
  bool holds(std::uint32_t value) const {
    return UnicodeString(m_value) == UnicodeString(textOf(value).c_str());
  }

private:
  Spc m_spc{nullptr, user, nullptr};
  char16_t m_value[64] = {};
};

template <class Peer>
class PeerReader {
public:
  explicit PeerReader(Peer& peer) : m_peer(peer) {}
  bool read(const Access& access) { return m_peer.read(access.key, m_value); }
  bool holds(std::uint32_t value) const { return m_value == textOf(value); }

private:
  Peer& m_peer;
  std::string m_value;
};

// A first round, which is not measured, brings the tree into the memory of this process and looks at
// every value.
template <class Reader>
void measureReads(benchmark::State& state, bool isNew, const std::vector<Access>& order, Kind kind,
                  Reader reader) {
  for (const Access& access : order) {
    if (!isNew) break;
    const std::uint32_t value = kind.isOverridden ? overrideOf(access.value) : access.value;
    if (!reader.read(access) || !reader.holds(value)) return state.SkipWithError("a value is wrong");
  }
  measure(state, order.size(), [&](std::size_t index) { return reader.read(order[index]); });
}

template <class Reader>
void addReads(Lab& lab, const std::string& type, Kind kind) {
  const Shape shape = kind == plainText ? Shape::Strings : Shape::Mixed;
  for (const Load& load : loads) {
    const std::string name = "sps/get/" + type + (kind.isOverridden ? "+override/" : "/") + load.name;
    addRow(name, [&lab, load, shape, kind](benchmark::State& state, const std::string& row) {
      lab.useTree(shape, load.size);
      const std::vector<Access>& order = lab.readOrder(shape, load.size, kind, load.limit);
      measureReads(state, lab.enter(row), order, kind, Reader());
    });
  }
}

template <class Peer>
void addPeerReads(Lab& lab) {
  for (const Load& load : loads) {
    const std::string name = std::string(Peer::name) + "/get/string/" + load.name;
    addRow(name, [&lab, load](benchmark::State& state, const std::string& row) {
      PeerReader<Peer> reader(lab.peer<Peer>(load.size));
      const std::vector<Access>& order = lab.readOrder(Shape::Strings, load.size, plainText, load.limit);
      measureReads(state, lab.enter(row), order, plainText, reader);
    });
  }
}

// Reads one parameter on behalf of users who each have an override value of their own.
class UserReader {
public:
  explicit UserReader(const char16_t* par) : m_par(par) { m_spc.Init(); }
  void become(const std::u16string& name) { m_spc.SetUser(name.c_str()); }
  bool read() { return m_spc.GetPar(wideTopic, m_par, m_value); }
  bool readsFor(std::uint32_t index) {
    become(userAt(index));
    return read() && m_value == UnicodeString(textOf(index).c_str());
  }

private:
  Spc m_spc;
  const char16_t* m_par;
  UnicodeString m_value;
};

// The user stays the same, as in most processes.
void readForOne(benchmark::State& state, const char16_t* par, std::uint32_t users) {
  UserReader reader(par);
  if (!reader.readsFor(users / 2)) return state.SkipWithError("a value is wrong");
  measure(state, 1, [&](std::size_t) { return reader.read(); });
}

// The user is another one each time, as in a service.
void readForAny(benchmark::State& state, const char16_t* par, std::uint32_t users) {
  constexpr std::uint64_t stride = 7919;  // prime: it meets every user, far from the one before
  UserReader reader(par);
  std::vector<std::u16string> names;
  for (std::uint32_t count = 0; count < users; ++count) {
    const auto index = static_cast<std::uint32_t>(count * stride % users);
    names.push_back(userAt(index));
    if (!reader.readsFor(index)) return state.SkipWithError("a value is wrong");
  }
  measure(state, names.size(), [&](std::size_t index) {
    reader.become(names[index]);
    return reader.read();
  });
}

void addOverrideReads(Lab& lab, const std::string& load, const char16_t* par, std::uint32_t users) {
  addRow("sps/get/overrides/" + load, [&lab, par, users](benchmark::State& state, const std::string&) {
    lab.useWideTree();
    readForOne(state, par, lab.scaled(users));
  });
  addRow("sps/get/overrides-any-user/" + load,
         [&lab, par, users](benchmark::State& state, const std::string&) {
           lab.useWideTree();
           readForAny(state, par, lab.scaled(users));
         });
}

}  // namespace

void registerReads(Lab& lab) {
  for (const bool isOverridden : {false, true}) {
    addReads<StringReader>(lab, "string", {'S', isOverridden});
    addReads<BufferReader>(lab, "buffer", {'S', isOverridden});
    addReads<NumberReader<std::int32_t>>(lab, "int32", {'I', isOverridden});
    addReads<NumberReader<double>>(lab, "double", {'D', isOverridden});
    addReads<NumberReader<std::int64_t>>(lab, "int64", {'T', isOverridden});
    addReads<NumberReader<bool>>(lab, "bool", {'B', isOverridden});
  }
  addPeerReads<DconfPeer>(lab);
  addPeerReads<LmdbPeer>(lab);
  addPeerReads<SqlitePeer>(lab);
  addOverrideReads(lab, "3", readFew, fewUsers);
  addOverrideReads(lab, "100k", readMany, hundredThousand);
}

}  // namespace bench
