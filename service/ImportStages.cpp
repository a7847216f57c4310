#include "service/ImportStages.h"

namespace service {

std::optional<ImportStages::Dropped> ImportStages::DropStage(ipc::SessionId session) {
  if (!m_stages.contains(session)) return std::nullopt;
  Stage stage = Take(session);
  return Dropped{std::move(stage.peer), stage.text.size()};
}

ImportStages::Stage ImportStages::Take(ipc::SessionId session) {
  const auto found = m_stages.find(session);
  if (found == m_stages.end()) return {};
  Stage stage = std::move(found->second);
  m_stages.erase(found);
  m_room += stage.size;
  return stage;
}

Code ImportStages::Keep(ipc::SessionId session, Stage stage, const UnicodeString& piece) {
  if (piece.View().size() > stage.size - stage.text.size()) return badTelegram;
  if (stage.size > m_room) return noRoom;
  stage.text += piece.View();
  const std::size_t size = stage.size;
  m_stages.insert_or_assign(session, std::move(stage));
  m_room -= size;
  return accepted;
}

Code ImportStages::Begin(const ipc::Exchange& exchange, std::int32_t size, const UnicodeString& piece,
                         std::optional<Dropped>& earlier) {
  const CCS lock(m_lock);
  earlier = DropStage(exchange.session());
  if (size < 0) return badTelegram;
  return Keep(exchange.session(), {exchange.peer(), static_cast<std::size_t>(size), {}}, piece);
}

Code ImportStages::Add(ipc::SessionId session, const UnicodeString& piece) {
  const CCS lock(m_lock);
  if (!m_stages.contains(session)) return badTelegram;
  Stage stage = Take(session);
  return piece.IsEmpty() ? badTelegram : Keep(session, std::move(stage), piece);
}

Code ImportStages::Finish(ipc::SessionId session, const UnicodeString& piece, std::u16string& text) {
  const CCS lock(m_lock);
  if (!m_stages.contains(session)) return badTelegram;
  Stage stage = Take(session);
  if (!piece.IsEmpty() || stage.text.size() != stage.size) return badTelegram;
  text = std::move(stage.text);
  return accepted;
}

std::optional<ImportStages::Dropped> ImportStages::Drop(ipc::SessionId session) {
  const CCS lock(m_lock);
  return DropStage(session);
}

}  // namespace service
