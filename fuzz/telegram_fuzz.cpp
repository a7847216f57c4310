// Any bytes as a telegram of any request, through the service as the daemon runs it, without a connection:
// each is answered once, a refusal changes nothing, and no byte of the input leaves the tree. The first byte
// chooses request and peer; the rest is, by the second byte, the telegram itself, the values of a well-formed
// telegram's fields, which gets deeper, or a registry text that comes in pieces.
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "fuzz/Fuzz.h"
#include "service/Json.h"
#include "service/ParameterService.h"
#include "tests/TempStore.h"

namespace {

const UnicodeString root = u"HKEY_LOCAL_MACHINE\\Software\\Velor\\SPS";

// A store for this process, with a parameter of each type.
class FuzzStore : public TempStore {
public:
  FuzzStore() {
    for (const char16_t letter : {u'B', u'D', u'I', u'S', u'T'}) {
      service::Node node;
      const UnicodeString par(std::u16string_view(&letter, 1));
      require(node.Init(root + u"\\Default\\T\\" + par, true, false));
      require(node.SetValue(u"@type", reinterpret_cast<const std::uint8_t*>(&letter), 2U));
    }
  }
};

// A telegram of the fields that the work adds.
template <class Work>
ipc::Bytes telegramOf(std::size_t room, const Work& add) {
  ipc::Bytes bytes(room);
  DfsBin fields;
  fields.AssignEmptyBuffer(bytes.data(), static_cast<std::int64_t>(room), false);
  add(fields);
  require(!fields.HasOverflow());
  bytes.resize(static_cast<std::size_t>(fields.GetDataSize()));
  return bytes;
}

// A request that waits for its answer.
class Asked : public ipc::Exchange {
public:
  Asked(std::int32_t number, ipc::Peer peer, ipc::Bytes data)
      : m_number(number), m_peer(std::move(peer)), m_data(std::move(data)) {}

  const ipc::Peer& peer() const override { return m_peer; }
  ipc::SessionId session() const override { return 1; }
  std::int32_t number() const override { return m_number; }
  std::int32_t value() const override { return 0; }
  std::span<const std::uint8_t> data() const override { return m_data; }

  void accept() override { Answer(0); }
  void accept(std::span<const std::uint8_t> reply) override {
    require(!reply.empty());
    Answer(0);
  }
  void accept(std::vector<ipc::Bytes> replies) override {
    for (const ipc::Bytes& reply : replies) require(DfsBin().Assign(reply.data(), reply.size()));
    Answer(0);
  }
  void acceptEach(NextReply next) override {
    ipc::Bytes piece;
    const bool isRaw = m_number == static_cast<std::int32_t>(telegram::Request::GetSpRegExport);
    while (next(piece)) require(isRaw ? isTextPiece(piece) : DfsBin().Assign(piece.data(), piece.size()));
    Answer(0);
  }
  void reject(std::int32_t code) override {
    require(code > 0);
    Answer(code);
  }

  std::int32_t Await() {
    std::unique_lock lock(m_mutex);
    m_answered.wait(lock, [this] { return m_count > 0; });
    require(m_count == 1);
    return m_code;
  }

private:
  static bool isTextPiece(const ipc::Bytes& piece) {
    return !piece.empty() && piece.size() <= 8192 && piece.size() % 2 == 0;
  }

  void Answer(std::int32_t code) {
    const std::lock_guard lock(m_mutex);
    ++m_count;
    m_code = code;
    m_answered.notify_one();
  }

  std::int32_t m_number;
  ipc::Peer m_peer;
  ipc::Bytes m_data;
  std::mutex m_mutex;
  std::condition_variable m_answered;
  int m_count = 0;
  std::int32_t m_code = 0;
};

// Takes values for fields off the input.
class Input {
public:
  explicit Input(std::span<const std::uint8_t> bytes) : m_bytes(bytes) {}

  std::uint8_t Byte() {
    if (m_bytes.empty()) return 0;
    const std::uint8_t byte = m_bytes.front();
    m_bytes = m_bytes.subspan(1);
    return byte;
  }
  std::span<const std::uint8_t> Bytes() {
    const std::size_t count = std::min<std::size_t>(Byte(), m_bytes.size());
    const auto taken = m_bytes.first(count);
    m_bytes = m_bytes.subspan(count);
    return taken;
  }
  std::span<const std::uint8_t> Rest() const { return m_bytes; }
  // One of the texts that lead somewhere, or any.
  std::u16string Text(const std::vector<std::u16string>& known) {
    const std::uint8_t choice = Byte();
    if (choice < known.size()) return known[choice];
    std::u16string text;
    for (const std::uint8_t byte : Bytes()) text += static_cast<char16_t>(byte);
    return text;
  }

private:
  std::span<const std::uint8_t> m_bytes;
};

std::vector<std::u16string> knownPaths() {
  const std::u16string path(root.View());
  return {path, path + u"\\Default", path + u"\\Default\\T", path + u"\\Default\\T\\I",
          path + u"\\Default\\T\\S"};
}

// Every field that any request has, with values of the input's.
ipc::Bytes wellFormed(Input& input) {
  namespace key = telegram::key;
  return telegramOf(1U << 16U, [&](Dfs& fields) {
    const auto addText = [&](telegram::Key<telegram::Wire::Str> name,
                             const std::vector<std::u16string>& known) {
      telegram::add(fields, name, input.Text(known).c_str());
    };
    addText(key::nodePath, knownPaths());
    addText(key::nodeName, {u"T", u"I", u"Default"});
    addText(key::topic, {u"T"});
    addText(key::par, {u"B", u"D", u"I", u"S", u"T"});
    addText(key::propName, {u"@value", u"@override", u"@type", u"@readonly", u"@decrypt", u"WS07"});
    const auto value = input.Bytes();
    telegram::add(fields, key::binary, value.data(), static_cast<std::int64_t>(value.size()));
    telegram::add(fields, key::size, static_cast<std::int32_t>(value.size()));
    // Requests 0 and 1 want the type in another form than the others.
    const std::uint8_t letter = input.Byte();
    if ((letter & 0x80U) != 0) {
      telegram::addLetter(fields, letter & 0x7FU);
    } else {
      telegram::add(fields, key::type, letter);
    }
    addText(key::oWorkstat, {u"", u"WS07"});
    telegram::add(fields, key::oUser, u"");
    telegram::add(fields, key::oInstance, u"");
    telegram::add(fields, key::noErrMsg, input.Byte());
    addText(key::user, {u"", u"miller"});
    telegram::add(fields, key::ws, u"ws");
    telegram::add(fields, key::app, u"app");
    telegram::add(fields, key::replicator, u"north");
    telegram::add(fields, key::msId, 1);
    telegram::add(fields, key::replace, input.Byte());
    addText(key::data, {u"", u"Windows Registry Editor Version 5.00\n"});
  });
}

// The text as a client sends it whose pieces have that length: the telegrams of requests 11, 12 and 13.
std::vector<ipc::Bytes> importOf(std::span<const std::uint8_t> bytes, std::size_t length) {
  std::u16string text;
  for (const std::uint8_t byte : bytes) {
    if (byte != 0) text += static_cast<char16_t>(byte);
  }
  std::vector<ipc::Bytes> telegrams;
  for (std::size_t at = 0; at == 0 || at < text.size(); at += length) {
    telegrams.push_back(telegramOf(64 + 2 * length, [&](Dfs& fields) {
      if (at == 0) telegram::add(fields, telegram::key::size, static_cast<std::int32_t>(text.size()));
      telegram::add(fields, telegram::key::data, text.substr(at, length).c_str());
    }));
  }
  telegrams.push_back(telegramOf(64, [](Dfs& fields) { telegram::add(fields, telegram::key::data, u""); }));
  return telegrams;
}

ipc::Peer peerFor(std::uint8_t choice) {
  const bool isUser = (choice & 0x10U) != 0;
  const std::uint32_t id = isUser ? 1000 : 0;
  return {.kind = ipc::Peer::Kind::Unix,
          .uid = id,
          .gid = id,
          .groups = {},
          .name = isUser ? "miller" : "root",
          .address = "unix"};
}

service::Settings settings() {
  service::Settings made;
  made.space = u"Default";
  made.importRoom = 10'000;
  return made;
}

// The tree as text, in the bytes that would be sent.
ipc::Bytes treeText() {
  service::AnswerRoom room(std::size_t{1} << 30U);
  service::TextPieces pieces(std::make_shared<service::AnswerRoom::Share>(room, "fuzzer"));
  require(service::exportText(service::Tree(u"Default"), pieces) == 0);
  ipc::Bytes text;
  for (ipc::Bytes piece; pieces.Take(piece);) text.insert(text.end(), piece.begin(), piece.end());
  return text;
}

// The code of the answer. A refusal leaves the tree as it was.
std::int32_t ask(service::ParameterService& service, std::int32_t number, const ipc::Peer& peer,
                 ipc::Bytes telegram) {
  const ipc::Bytes before = treeText();
  const auto asked = std::make_shared<Asked>(number, peer, std::move(telegram));
  service.serve(asked);
  const std::int32_t code = asked->Await();
  if (code != 0) require(treeText() == before);
  return code;
}

void askImport(service::ParameterService& service, const ipc::Peer& peer, Input& input) {
  const std::size_t length = 1U + input.Byte();
  const std::vector<ipc::Bytes> telegrams = importOf(input.Rest(), length);
  for (std::size_t at = 0; at < telegrams.size(); ++at) {
    const std::int32_t number = at == 0 ? 11 : at + 1 < telegrams.size() ? 12 : 13;
    if (ask(service, number, peer, telegrams[at]) != 0) return;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const FuzzStore store;
  static service::AuditLog audit("");
  static service::ParameterService service(settings(), audit);
  if (size < 2) return 0;
  const ipc::Peer peer = peerFor(data[0]);
  const std::span<const std::uint8_t> rest(data + 2, size - 2);
  Input input(rest);
  if ((data[1] & 4U) != 0) {
    askImport(service, peer, input);
  } else {
    ask(service, data[0] & 0x0FU, peer,
        (data[1] & 1U) != 0 ? wellFormed(input) : ipc::Bytes(rest.begin(), rest.end()));
  }
  if ((data[1] & 2U) != 0) service.ended(1);
  return 0;
}
