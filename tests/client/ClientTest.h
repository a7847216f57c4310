// What the tests of the parameter client share: a store of their own, the trace, makers of parameters.
#pragma once

#include <gmock/gmock.h>

#include <ostream>
#include <string>
#include <vector>

#include "platform/support/Trace.h"
#include "src/RgNode.h"
#include "src/spc.h"
#include "tests/TempStore.h"

void PrintTo(const UnicodeString& text, std::ostream* out);

// Every test has a new, empty store. Trace lines of the library's classes are collected as
// "level|tag|source|text", without tag on the plain channel.
class ClientTest : public testing::Test {
protected:
  ClientTest();
  ~ClientTest() override;

  // The lines since the last call.
  std::vector<std::string> Lines();

private:
  TempStore m_store;
  std::vector<std::string> m_lines;
  trace::SinkId m_sink;
};

std::string plain(char level, const std::string& text);
std::string back(int level, const std::string& text);
std::string nodeTrace(int level, const std::string& text);
// The line of one of the parameter client's codes, about what has that name.
std::string reported(std::int32_t code, const std::string& name);
// What the failed open of a parameter's key leaves.
std::string openFailed(const std::string& path);

// The key path of a parameter in the process space "Default", and the same below the hive.
std::u16string keyPath(const std::u16string& topic, const std::u16string& par);
// Those of topic "T", parameter "P".
inline const std::string nameOfP = R"(Software\Velor\SPS\Default\T\P)";
inline const std::string pathOfP = R"(HKEY_LOCAL_MACHINE\)" + nameOfP;
inline const std::string typeOfP = pathOfP + R"(\@type)";
inline const std::string noNode = reported(11, pathOfP);
inline const std::string tooLarge = reported(234, pathOfP);
inline const std::string otherType = reported(16, typeOfP);
inline const std::string noType = reported(250, typeOfP);
inline const std::string noLocalAccess = reported(19, "P");

// An RgNode whose protected parts are open.
class OpenNode : public RgNode {
public:
  using RgNode::GetValue;
  using RgNode::m_enumIdx;
  using RgNode::m_hNode;
  using RgNode::m_volatile;
  using RgNode::SetValue;
};

class OpenSpc : public Spc {
public:
  using Spc::GetOverrideName;
  using Spc::GetParPath;
  using Spc::GetRemotePar;
  using Spc::IsAttrDecrypt;
  using Spc::IsAttrDisableLog;
  using Spc::IsAttrEncrypt;
  using Spc::IsAttrOverride;
  using Spc::IsAttrReadOnly;
  using Spc::IsAttrReplicate;
  using Spc::IsValidDataType;
  using Spc::m_localAccess;
  using Spc::m_logModeWords;
  using Spc::m_pSpSrvClnt;
  using Spc::SendDbgError;
  using Spc::SetPrcSpace;
  using Spc::SetRemotePar;
  using Spc::SetRemoteParAttr;
  using Spc::Spc;
};

// One whose root lies in no hive.
class Elsewhere : public OpenSpc {
public:
  Elsewhere() { m_root = u"NOWHERE"; }
};

// A parameter's key, made by the constructor with "@type".
class Par {
public:
  Par(const char16_t* topic, const char16_t* par, char16_t letter);
  explicit Par(char16_t letter) : Par(u"T", u"P", letter) {}

  Par& Override(char16_t letter);
  Par& Flag(const char16_t* name);
  Par& Text(const char16_t* name, const UnicodeString& text);
  Par& Expandable(const char16_t* name, const std::u16string& text);
  Par& Number(const char16_t* name, std::int32_t number);
  Par& Bytes(const char16_t* name, const std::vector<std::uint8_t>& bytes);
  Par& Without(const char16_t* name);

  // Type number and bytes of a value; -1 and nothing if it does not exist.
  struct Stored {
    std::int64_t type = -1;
    std::vector<std::uint8_t> bytes;
    bool operator==(const Stored&) const = default;
  };
  Stored Value(const char16_t* name);
  // The text of a value, or "(none)".
  UnicodeString TextOf(const char16_t* name);

  OpenNode& Node() { return m_node; }
  Par& Raw(const char16_t* name, std::uint32_t type, const void* data, std::size_t size);

private:
  OpenNode m_node;
};
