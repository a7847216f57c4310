// The connection to a master's parameter service.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "src/SpSrvClntEx.h"
#include "tools/sps/Client.h"
#include "tools/sps/ParameterKey.h"
#include "tools/sps/TraceLog.h"

namespace tool {

// One connection. Requests give 0, or why they failed: a code of the service, which is one of the parameter
// client or a number of the registry, or a code of the connection. masterText tells what it means. Out
// arguments are defined after 0 only. Paths are full, with the root name first.
class Master {
public:
  using Code = std::uint32_t;

  // Connects to the server by a name as IpcClient::Open takes it. Refused where that fails; the log, which
  // is cleared, is where the library says why.
  Master(const std::string& server, TraceLog& log);

  const std::string& Server() const { return m_server; }
  // Whether it is this machine, as far as its name tells.
  bool IsLocal() const { return m_client.IsSrvLocal(); }

  Code Version(std::u16string& version);
  // The process space that the service reads parameters from when they are named by topic and name.
  Code Space(std::u16string& space);

  // In the service's order. A connection that ends among the answers looks like the end of the list, so
  // what was listed or exported counts only once Confirm has found the connection still there.
  Code Children(const std::u16string& path, std::vector<std::u16string>& names);
  Code Values(const std::u16string& path, std::vector<StoredValue>& values);
  bool NeedsConfirming() const { return m_listed; }
  Code Confirm();

  // Of the service's own space, for the client's identity. The value's alternative chooses the type.
  Code Read(const std::u16string& topic, const std::u16string& par, const Client& identity, Value& value);
  Code Write(const std::u16string& topic, const std::u16string& par, const Client& identity,
             const Value& value);

  // Makes a key, with those above it; existed tells whether it was there.
  Code MakeKey(const std::u16string& path, bool& existed);
  Code RemoveKey(const std::u16string& parent, const std::u16string& name);
  // Write a value of the key over one that exists: in the form of its type, as a letter of "@type" and
  // "@override", or as a flag.
  Code PutValue(const std::u16string& path, const std::u16string& name, const Value& value);
  Code PutLetter(const std::u16string& path, const std::u16string& name, char16_t letter);
  Code PutFlag(const std::u16string& path, const std::u16string& name);
  Code RemoveValue(const std::u16string& path, const std::u16string& name);

  // The whole tree as registry text, and such a text into it.
  Code Export(std::u16string& text);
  Code Import(const std::u16string& text);

private:
  Code Put(const std::u16string& path, const std::u16string& name, char16_t letter,
           const std::vector<std::uint8_t>& bytes);

  std::string m_server;
  SpSrvClntEx m_client;
  bool m_listed = false;
};

// What the code of a failed request means, empty where the parameter client has words of its own for it.
std::string masterText(std::int64_t code);
// What whoever sits in front can do about it, empty where that depends on what was asked for.
std::string masterAdvice(std::int64_t code);

}  // namespace tool
