// Writing: each write is on disk before the next begins.
#include "bench/Rows.h"
#include "src/spc.h"

namespace bench {

namespace {

// Texts to write in turn, so that none finds itself in the store already.
std::vector<std::string> makeTexts() {
  std::vector<std::string> texts;
  for (std::uint32_t value = 0; value < 16; ++value) texts.push_back(textOf(value));
  return texts;
}

class SpsWriter {
public:
  explicit SpsWriter(const char16_t* userName = nullptr) : m_spc(nullptr, userName, nullptr) { m_spc.Init(); }
  bool write(const Access& access, const std::string& text) { return write(access.topic, access.name, text); }
  bool read(const Access& access, std::string& text) { return read(access.topic, access.name, text); }

  bool write(const char16_t* topic, const char16_t* par, const std::string& text) {
    return m_spc.SetPar(topic, par, UnicodeString(text.c_str()));
  }
  bool read(const char16_t* topic, const char16_t* par, std::string& text) {
    UnicodeString value;
    const bool done = m_spc.GetPar(topic, par, value);
    text.assign(value.View().begin(), value.View().end());
    return done;
  }

private:
  Spc m_spc;
};

template <class Peer>
class PeerWriter {
public:
  explicit PeerWriter(Peer& peer) : m_peer(peer) {}
  bool write(const Access& access, const std::string& text) { return m_peer.write(access.key, text); }
  bool read(const Access& access, std::string& text) { return m_peer.read(access.key, text); }

private:
  Peer& m_peer;
};

// Writes places in turn and then looks at the one written last.
template <class Write, class Read>
void measureWrites(benchmark::State& state, std::size_t places, const Write& write, const Read& read) {
  static const std::vector<std::string> texts = makeTexts();
  static std::size_t turn = 0;
  std::size_t last = 0;
  measure(state, places, [&](std::size_t index) {
    last = index;
    return write(index, texts[++turn % texts.size()]);
  });
  std::string text;
  if (!read(last, text) || text != texts[turn % texts.size()]) state.SkipWithError("a write is lost");
}

// Waits for the disk, which answers slowly and unevenly.
template <class Run>
void addDurableRow(const Lab& lab, const std::string& name, Run run) {
  constexpr double seconds = 0.5;
  benchmark::internal::Benchmark* row = addRow(name, run)->UseRealTime();
  if (!lab.isQuick()) row->MinTime(seconds);
}

template <class Writer>
void measureWriter(benchmark::State& state, const std::vector<Access>& order, Writer writer) {
  measureWrites(
      state, order.size(),
      [&](std::size_t index, const std::string& text) { return writer.write(order[index], text); },
      [&](std::size_t index, std::string& text) { return writer.read(order[index], text); });
}

template <class Peer>
void addPeerWrites(Lab& lab, const std::string& load, std::uint32_t size) {
  addDurableRow(lab, Peer::name + ("/set/string/" + load),
                [&lab, size](benchmark::State& state, const std::string&) {
                  measureWriter(state, lab.writeOrder(size), PeerWriter(lab.peer<Peer>(size)));
                });
}

void addWrites(Lab& lab, const std::string& load, std::uint32_t size) {
  addDurableRow(lab, "sps/set/string/" + load, [&lab, size](benchmark::State& state, const std::string&) {
    lab.useTree(Shape::Strings, size);
    measureWriter(state, lab.writeOrder(size), SpsWriter());
  });
  addPeerWrites<LmdbPeer>(lab, load, size);
  addPeerWrites<SqlitePeer>(lab, load, size);
}

void addOverrideWrites(Lab& lab, const std::string& load, const char16_t* par, std::uint32_t users) {
  addDurableRow(
      lab, "sps/set/overrides/" + load, [&lab, par, users](benchmark::State& state, const std::string&) {
        lab.useWideTree();
        SpsWriter writer(userAt(lab.scaled(users) / 2).c_str());
        measureWrites(
            state, 1,
            [&](std::size_t, const std::string& text) { return writer.write(wideTopic, par, text); },
            [&](std::size_t, std::string& text) { return writer.read(wideTopic, par, text); });
      });
}

}  // namespace

void registerWrites(Lab& lab) {
  addWrites(lab, "1k", thousand);
  addWrites(lab, "1M", million);
  addOverrideWrites(lab, "3", writeFew, fewUsers);
  addOverrideWrites(lab, "100k", writeMany, hundredThousand);
}

}  // namespace bench
