#include "service/ParameterService.h"

#include <array>
#include <optional>
#include <utility>

namespace service {
namespace {

using telegram::Request;

// A listing of more than that is made on the thread for long reads.
constexpr std::uint32_t shortListing = 512;
constexpr std::uint64_t shortData = 1U << 20U;  // bytes; and one that may have more
constexpr Code connectionAborted = 1236;
constexpr Code cancelled = 1223;

enum class Kind : std::uint8_t { Read, Listing, Export, Change, Import };

struct Operation {
  const char* name = nullptr;
  Kind kind = Kind::Read;
  Code (*read)(Tree& tree, Fields& fields, Replies& replies) = nullptr;
};

// By request number.
constexpr std::array operations = {Operation{"GetSpSrvPar", Kind::Read, readParameter},
                                   Operation{"SetSpSrvPar", Kind::Change},
                                   Operation{"GetChildNodes", Kind::Listing, listNodes},
                                   Operation{"GetProperties", Kind::Listing, listProperties},
                                   Operation{"SetNode", Kind::Change},
                                   Operation{"DeleteNode", Kind::Change},
                                   Operation{"SetProperty", Kind::Change},
                                   Operation{"DeleteProperty", Kind::Change},
                                   Operation{"GetPrcSpace", Kind::Read, tellSpace},
                                   Operation{"ReplicateSpSrvPar", Kind::Change},
                                   Operation{"GetSpRegExport", Kind::Export},
                                   Operation{"SetSpRegImport", Kind::Import},
                                   Operation{"SetSpRegImport", Kind::Import},
                                   Operation{"SetSpRegImport", Kind::Import},
                                   Operation{"GetMasterVersion", Kind::Read, tellVersion}};

const Operation& operationOf(Request request) {
  return operations[static_cast<std::size_t>(request)];
}

bool isChange(Request request) {
  const Kind kind = operationOf(request).kind;
  return kind == Kind::Change || kind == Kind::Import;
}

// An import overwrites and removes whatever its text says, read-only parameters too.
Right neededFor(Request request) {
  if (operationOf(request).kind == Kind::Import) return Right::Administer;
  return isChange(request) ? Right::Write : Right::Read;
}

}  // namespace

ParameterService::ParameterService(Settings settings, AuditLog& audit)
    : m_settings(std::move(settings)),
      m_audit(audit),
      m_imports(m_settings.importRoom),
      m_answers(m_settings.answerRoom),
      m_writer(m_settings.space, audit) {}

void ParameterService::Stop() {
  m_answers.Close();
  m_writer.Stop();
  EveryMinute();
}

void ParameterService::EveryMinute() {
  m_audit.Append(m_refusals.TakeOmitted());
}

Tree& ParameterService::ThreadTree() {
  // Made once a thread: the making of an object of the library costs more than a read.
  thread_local std::optional<Tree> tree;
  thread_local const ParameterService* owner = nullptr;
  if (owner != this) tree.emplace(m_settings.space);
  owner = this;
  return *tree;
}

void ParameterService::serve(std::shared_ptr<ipc::Exchange> exchange) {
  const std::int32_t number = exchange->number();
  if (number < 0 || number >= static_cast<std::int32_t>(operations.size())) {
    exchange->reject(badTelegram);
    return;
  }
  const auto request = static_cast<Request>(number);
  const Right right = m_settings.access.Of(exchange->peer());
  if (right >= neededFor(request)) {
    Serve(exchange, request, right);
  } else {
    Refuse(exchange, request, accessDenied);
  }
}

void ParameterService::Serve(const Shared& exchange, Request request, Right right) {
  switch (operationOf(request).kind) {
    case Kind::Export:
      m_worker.Do(ipc::userKey(exchange->peer()), [this, exchange] { Export(*exchange); });
      break;
    case Kind::Import:
      Import(exchange, request, right);
      break;
    case Kind::Change:
      Change({makeChange(request, exchange->data()), exchange}, right);
      break;
    default:
      Read(exchange, request);
  }
}

void ParameterService::Read(const Shared& exchange, Request request) {
  if (operationOf(request).kind != Kind::Listing) {
    // Its memory stays with the thread, so that the read of a parameter asks for none.
    thread_local Replies replies;
    replies.Clear();
    AnswerRead(*exchange, request, replies);
  } else if (IsLong(*exchange, request)) {
    m_worker.Do(ipc::userKey(exchange->peer()), [this, exchange, request] { List(*exchange, request); });
  } else {
    List(*exchange, request);
  }
}

bool ParameterService::IsLong(const ipc::Exchange& exchange, Request request) {
  Fields fields(exchange.data());
  const Listed listed = measureListed(ThreadTree(), fields, request);
  return listed.count > shortListing || listed.count * listed.longest > shortData;
}

void ParameterService::AnswerRead(ipc::Exchange& exchange, Request request, Replies& replies) {
  Fields fields(exchange.data());
  const Code code = operationOf(request).read(ThreadTree(), fields, replies);
  if (code != accepted) {
    exchange.reject(code);
  } else if (replies.Count() == 1) {
    exchange.accept(replies.At(0));
  } else {
    accept(exchange, std::exchange(replies, {}));
  }
}

std::shared_ptr<AnswerRoom::Share> ParameterService::ShareFor(const ipc::Exchange& exchange) {
  return std::make_shared<AnswerRoom::Share>(m_answers, ipc::userKey(exchange.peer()));
}

void ParameterService::List(ipc::Exchange& exchange, Request request) {
  Replies replies(ShareFor(exchange));
  AnswerRead(exchange, request, replies);
}

void ParameterService::Export(ipc::Exchange& exchange) {
  const auto pieces = std::make_shared<TextPieces>(ShareFor(exchange));
  if (const Code code = exportText(ThreadTree(), *pieces); code != accepted) return exchange.reject(code);
  exchange.acceptEach([pieces](ipc::Bytes& piece) { return pieces->Take(piece); });
}

void ParameterService::Import(const Shared& exchange, Request request, Right right) {
  std::u16string text;
  const Code code = TakePiece(*exchange, request, text);
  if (code != accepted) {
    Refuse(exchange, request, code);
  } else if (request == Request::ImportEnd) {
    Change({makeImport(std::move(text)), exchange}, right);
  } else {
    exchange->accept();
  }
}

Code ParameterService::TakePiece(const ipc::Exchange& exchange, Request request, std::u16string& text) {
  Fields fields(exchange.data());
  const std::int32_t size = request == Request::ImportFirstPiece ? fields.Number(telegram::key::size) : 0;
  const UnicodeString piece = fields.Text(telegram::key::data);
  if (!fields.IsComplete()) {
    const auto earlier = m_imports.Drop(exchange.session());
    if (earlier && request == Request::ImportFirstPiece) RecordReplaced(*earlier);
    return badTelegram;
  }
  switch (request) {
    case Request::ImportFirstPiece:
      return BeginImport(exchange, size, piece);
    case Request::ImportFurtherPiece:
      return m_imports.Add(exchange.session(), piece);
    default:
      return m_imports.Finish(exchange.session(), piece, text);
  }
}

Code ParameterService::BeginImport(const ipc::Exchange& exchange, std::int32_t size,
                                   const UnicodeString& piece) {
  std::optional<ImportStages::Dropped> earlier;
  const Code code = m_imports.Begin(exchange, size, piece, earlier);
  if (earlier) RecordReplaced(*earlier);
  return code;
}

void ParameterService::Change(Pending pending, Right right) {
  const Shared exchange = pending.exchange;
  const auto request = static_cast<Request>(exchange->number());
  service::Change& change = *pending.change;
  change.deed.operation = operationOf(request).name;
  change.byAdministrator = right >= Right::Administer;
  if (!change.byAdministrator && contradicts(change.deed.claim, exchange->peer())) {
    Refuse(exchange, request, accessDenied);
  } else if (!m_writer.Submit(pending)) {
    Refuse(exchange, request, shuttingDown);
  }
}

// What goes no further than here. A change is read all the same, for the trail.
void ParameterService::Refuse(const Shared& exchange, Request request, Code code) {
  if (isChange(request) && m_refusals.Admit(exchange->peer(), code)) {
    const auto change = makeChange(request, exchange->data());
    Deed deed = change ? std::move(change->deed) : Deed{};
    deed.operation = operationOf(request).name;
    m_audit.AppendRefused(auditLine(deed, exchange->peer(), code));
  }
  exchange->reject(code);
}

void ParameterService::ended(ipc::SessionId session) {
  const auto dropped = m_imports.Drop(session);
  if (dropped) RecordDropped(*dropped, "dropped with its connection", connectionAborted);
}

void ParameterService::RecordReplaced(const ImportStages::Dropped& dropped) {
  RecordDropped(dropped, "replaced by another one", cancelled);
}

void ParameterService::RecordDropped(const ImportStages::Dropped& dropped, const char* outcome, Code code) {
  Deed deed;
  deed.operation = operationOf(Request::ImportEnd).name;
  deed.characters = dropped.characters;
  deed.outcome = outcome;
  m_audit.AppendRefused(auditLine(deed, dropped.peer, code));
}

}  // namespace service
