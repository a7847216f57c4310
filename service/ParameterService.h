// The parameter service: what stands behind SYSPARSERVICE.
#pragma once

#include <cstddef>
#include <memory>

#include "platform/ipc/IpcServer.h"
#include "service/Access.h"
#include "service/AnswerRoom.h"
#include "service/Audit.h"
#include "service/ImportStages.h"
#include "service/Reads.h"
#include "service/Refusals.h"
#include "service/Worker.h"
#include "service/Writer.h"

namespace service {

struct Settings {
  UnicodeString space;  // the process space of the parameters named by topic and name
  AccessRules access;
  std::size_t importRoom = 64U << 20U;   // characters of all imports under way
  std::size_t answerRoom = 512U << 20U;  // bytes of all listings and exports, until they are taken
};

// Serves all fifteen requests on the tree of the store that this process uses. Reads are answered on the
// thread that brings them, long ones on a thread of their own, changes by the writer.
class ParameterService : public ipc::Service {
public:
  // The trail must outlive the object.
  ParameterService(Settings settings, AuditLog& audit);

  void serve(std::shared_ptr<ipc::Exchange> exchange) override;
  void ended(ipc::SessionId session) override;

  // Refuses changes and long reads from now on, those under way too, and returns when the changes that were
  // taken are answered.
  void Stop();
  // What is due once a minute: lines of refusals that were only counted. Any thread.
  void EveryMinute();

private:
  using Shared = std::shared_ptr<ipc::Exchange>;

  void Serve(const Shared& exchange, telegram::Request request, Right right);
  void Read(const Shared& exchange, telegram::Request request);
  void AnswerRead(ipc::Exchange& exchange, telegram::Request request, Replies& replies);
  bool IsLong(const ipc::Exchange& exchange, telegram::Request request);
  void List(ipc::Exchange& exchange, telegram::Request request);
  void Export(ipc::Exchange& exchange);
  void Import(const Shared& exchange, telegram::Request request, Right right);
  Code TakePiece(const ipc::Exchange& exchange, telegram::Request request, std::u16string& text);
  Code BeginImport(const ipc::Exchange& exchange, std::int32_t size, const UnicodeString& piece);
  void RecordReplaced(const ImportStages::Dropped& dropped);
  void RecordDropped(const ImportStages::Dropped& dropped, const char* outcome, Code code);
  void Change(Pending pending, Right right);
  void Refuse(const Shared& exchange, telegram::Request request, Code code);
  Tree& ThreadTree();
  std::shared_ptr<AnswerRoom::Share> ShareFor(const ipc::Exchange& exchange);

  const Settings m_settings;
  AuditLog& m_audit;
  Refusals m_refusals;
  ImportStages m_imports;
  AnswerRoom m_answers;
  Writer m_writer;
  Worker m_worker;
};

}  // namespace service
