// Registry texts on their way in, one a connection, until their last piece is there.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>

#include "platform/ipc/IpcServer.h"
#include "platform/support/CriticalSection.h"
#include "service/Tree.h"

namespace service {

// A piece that is refused, for whatever reason, drops the text that it belongs to. Any thread.
class ImportStages {
public:
  // Characters that all texts together may have, by what they are announced with.
  explicit ImportStages(std::size_t room) : m_room(room) {}

  struct Dropped {
    ipc::Peer peer;
    std::size_t characters = 0;  // that had come
  };

  // Request 11: begins a text of that many characters in all. One that the connection had begun is dropped
  // for it, whatever the outcome. 1450 where there is no room for it, 87 where the size is none or the piece
  // is longer.
  Code Begin(const ipc::Exchange& exchange, std::int32_t size, const UnicodeString& piece,
             std::optional<Dropped>& earlier);
  // Request 12. 87 for a piece of no text, or of more than was announced.
  Code Add(ipc::SessionId session, const UnicodeString& piece);
  // Request 13: takes the text out. 87 where it is not as long as it was announced.
  Code Finish(ipc::SessionId session, const UnicodeString& piece, std::u16string& text);

  // The connection is gone, or has sent what is no piece. Nothing where it had begun no text.
  std::optional<Dropped> Drop(ipc::SessionId session);

private:
  struct Stage {
    ipc::Peer peer;
    std::size_t size = 0;
    std::u16string text;
  };
  std::optional<Dropped> DropStage(ipc::SessionId session) SPS_REQUIRES(m_lock);
  Stage Take(ipc::SessionId session) SPS_REQUIRES(m_lock);
  Code Keep(ipc::SessionId session, Stage stage, const UnicodeString& piece) SPS_REQUIRES(m_lock);

  CriticalSection m_lock;
  std::map<ipc::SessionId, Stage> m_stages SPS_GUARDED_BY(m_lock);
  std::size_t m_room SPS_GUARDED_BY(m_lock);
};

}  // namespace service
