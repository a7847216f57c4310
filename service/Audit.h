// The trail of every change that was tried.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/ipc/IpcServer.h"
#include "platform/support/CriticalSection.h"
#include "service/Access.h"
#include "service/Forms.h"

namespace service {

// What was tried, as its line tells it. Empty members do not appear in it.
struct Deed {
  std::string_view operation;  // the client's name for it
  Claim claim;
  UnicodeString path;
  UnicodeString property;
  std::uint16_t letter = 0;
  std::optional<Bytes> value;
  // Set once the parameter is known to have neither "@encrypt" nor "@decrypt"; the value appears as "***"
  // before.
  bool mayShow = false;

  // A replicated change.
  UnicodeString replicator;
  std::optional<std::int32_t> messageId;

  // An import: how long the text is, what it did, what was wrong with it.
  std::optional<std::size_t> characters;
  std::string outcome;

  // How many refusals of the peer have no line of their own.
  std::optional<std::int64_t> omitted;
};

// One line of the trail, with the time of the call.
std::string auditLine(const Deed& deed, const ipc::Peer& peer, Code verdict);

// The file of the trail. A line goes out whole, by one write to the end of the file, so that several
// processes may share it and a rotation may move it. Any thread.
class AuditLog {
public:
  // An empty path keeps no trail.
  explicit AuditLog(std::string path);
  ~AuditLog();
  AuditLog(const AuditLog&) = delete;
  AuditLog& operator=(const AuditLog&) = delete;

  // Opens the file, or opens it anew after a rotation. False, with errno set, where that fails; the file
  // in use stays.
  bool Open();
  // Appends lines. False where the file takes no more (the disk is full): what is left waits and goes out
  // with the next call that succeeds, or in the end.
  bool Append(std::string_view lines);
  // The same for lines of which none tells of a change that was made: they are left out where much waits.
  bool AppendRefused(std::string_view lines);
  // Tries to write what waits; false where something still does. Nothing is to be changed then, or it
  // would leave no trace.
  bool IsReady();

private:
  bool Keep(std::string_view lines) SPS_REQUIRES(m_lock);
  bool Flush() SPS_REQUIRES(m_lock);

  const std::string m_path;
  CriticalSection m_lock;
  int m_file SPS_GUARDED_BY(m_lock) = -1;
  std::string m_waiting SPS_GUARDED_BY(m_lock);   // lines that the file did not take whole
  std::size_t m_sent SPS_GUARDED_BY(m_lock) = 0;  // bytes of the first one that it took
  bool m_failed SPS_GUARDED_BY(m_lock) = false;   // said once
};

}  // namespace service
