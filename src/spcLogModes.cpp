// Log modes: numbers that are stored as scrambled words, so that nobody sets one by hand.
#include <system_error>

#include "platform/password/Password.h"
#include "platform/support/Trace.h"
#include "src/spc.h"
#include "src/spcTrace.h"

namespace {

constexpr const char16_t* dlgMgrTopic = u"DlgMgr";
constexpr const char16_t* macTopicPrefix = u"ACSP";
constexpr const char16_t* logModePar = u"LogMode";

constexpr std::int32_t passwordLength = 20;
constexpr const char* passwordPunctuation = "!#$%&()*+,-./:;<=>?@";

// The words of mode 1 and 2 are cut from these, so that they stand nowhere as they are stored.
constexpr const char16_t* firstLiteral = u"q7!Lv3x#Rt";
constexpr const char16_t* secondLiteral = u"Zp4?kW8$nd2";

UnicodeString macTopic(std::int32_t mac) {
  return macTopicPrefix + (u"-" + UnicodeString(mac));
}

// Mode 0 is that of every word which is no other's. Where the system gives no randomness, any will do.
UnicodeString wordOfNone() {
  try {
    UnicodeString characters(passwordPunctuation);
    return Password(passwordLength, passwordLength, characters, 1, 1, 1, 1).Create();
  } catch (const std::system_error&) {
    return u"none";
  }
}

}  // namespace

void Spc::AppendLogModeWords() {
  const UnicodeString first(firstLiteral);
  const UnicodeString second(secondLiteral);
  for (const UnicodeString& word : {wordOfNone(), first.Mid(4, 4), second.Mid(5, 4)}) {
    m_logModeWords.SetAtGrow(m_logModeWords.GetSize(), word);
  }
}

std::int32_t Spc::ReadLogMode(const char16_t* topic) {
  UnicodeString word;
  std::uint32_t code = 0;
  if (!GetPar(topic, logModePar, word, &code, 1)) {
    _DbgSetLine(client::traceSource, __LINE__, u'W');
    _DbgOut(u"Could not get parameter '%s', using default value '%d'", logModePar, 0);
    return 0;
  }
  const std::int32_t count = m_logModeWords.GetSize();
  for (std::int32_t mode = 0; mode < count; ++mode) {
    if (m_logModeWords.GetAt(mode).Compare(word) == 0) return mode;
  }
  return 0;
}

bool Spc::WriteLogMode(const char16_t* topic, std::int32_t mode) {
  AppendLogModeWords();
  const UnicodeString word = m_logModeWords.GetAt(mode);
  std::uint32_t code = 0;
  return SetPar(topic, logModePar, word, &code, true);
}

std::int32_t Spc::GetDMSLogMode() {
  return ReadLogMode(m_pMaster);
}

std::int32_t Spc::GetDlgMgrLogMode() {
  return ReadLogMode(dlgMgrTopic);
}

std::int32_t Spc::GetMACLogMode(std::int32_t mac) {
  return ReadLogMode(macTopic(mac));
}

bool Spc::SetDlgMgrLogMode(std::int32_t mode) {
  if (WriteLogMode(dlgMgrTopic, mode)) return true;
  _DbgSetLine(client::traceSource, __LINE__, u'S');
  _DbgOut(u"Failed to set log mode %d", mode);
  return false;
}

bool Spc::SetLogModeMAC(std::int32_t mac, std::int32_t mode) {
  if (WriteLogMode(macTopic(mac), mode)) return true;
  _DbgSetLine(client::traceSource, __LINE__, u'S');
  _DbgOut(u"Failed to set log mode %d for MAC %d", mode, mac);
  return false;
}
