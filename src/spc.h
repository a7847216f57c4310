// The parameter client: what a process reads and changes its system parameters with.
#pragma once

#include <cstdint>
#include <memory>
#include <type_traits>

#include "platform/collections/CArray.h"
#include "platform/support/UnicodeString.h"
#include "platform/support/api.h"

class DfsBin;
class RgNode;
class SpSrvClntEx;

namespace client {
class ReadForm;
class WriteForm;
enum class Placement : std::uint8_t;
}  // namespace client

// The version of the library: major in the top byte, minor in the next, build number in the low 16 bits.
SPS_API std::uint32_t SpcGetVersion();

// Spc::GetHlpDir for a caller without an object, in the process space that the environment names.
SPS_API bool GetHlpDir(UnicodeString& dir);

// One entry of the block read. All of it belongs to the caller.
struct SpcParS {
  const char16_t* name;  // of the parameter; null ends the list
  std::uint16_t type;    // B, D, I, S or T
  void* value;           // bool, double, std::int32_t, char16_t buffer or std::int64_t, by the type
  std::uint32_t size;    // characters of the buffer, terminator included; read for S only
};

// The destructor is not virtual, and no object is to be deleted through a pointer to its base.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// A parameter is named by topic and parameter name and lies in the tree under m_pRootName at
// process space \ topic \ parameter. Its key holds "@type" (a type letter), "@value", and if wanted
// "@superValue" (read where "@value" is missing), "@override" (W, U or P: this parameter may have a value
// of its own for a workstation, a user or a process instance, stored under that name) and flags.
//
//   Spc spc(u"WS07", u"miller", u"viewer");
//   spc.Init();
//   std::int32_t limit;
//   std::uint32_t err;
//   if (!spc.GetPar(u"Alarms", u"Limit", &limit, &err)) ...
//
// Types: B one byte, 0 or 1; D 64-bit float; I 32-bit signed; S 16-bit text; T 64-bit signed.
//
// Results: a boolean, true on success. The optional err receives 0 or the code of the failure, which is a
// registry number (5 no access, 234 larger than the buffer, ...), a code of the connection, or
//    2 no directory, or no "@type"      14 with true: the override value is new
//   11 no such parameter                15 read-only (from the master)
//   12 no value                         16 the parameter has another type
//   13 unknown type in a list           19 neither local access nor a connection
//   87 a null pointer for the value
// Every failure is traced once, by the operation that met it, but for those of ExportReg and ImportReg and a
// reply without its value; a key that cannot be opened leaves a back trace of its node besides. noErrMsg is a
// code that a read shall not trace; 240 silences all of them. Neither reaches the node's.
//
// Each operation sees the store as of the last commit, whoever made it: nothing stale is ever shown.
// Two objects or processes meet in the store only. One object belongs to one thread at a time; the
// directory reads, SendDbgError, EncryptStr and DecryptStr may run in any number of threads.
class SPS_API Spc {
public:
  virtual UnicodeString EncryptStr(const UnicodeString& value);
  // Takes blanks, tabs and line ends off both ends of the plain text. A text that was never scrambled
  // comes out unreadable.
  virtual UnicodeString DecryptStr(const UnicodeString& value);
  // Takes the process space from the environment variable PROCESS_SPACE; unset, empty or "0" is
  // "Default". Always true. May be repeated.
  virtual bool Init();
  // Connects to the master's parameter service, replacing the connection that the object has. On success
  // local access is as the argument says, and override names that are empty take the machine's, the
  // user's and the application's name. On failure the object is not connected, all else unchanged.
  virtual bool ConnectSpService(const char16_t* server, bool localAccess);

  // Opens nothing and reads no environment. The names select override values; a null or empty one
  // selects none.
  Spc();
  Spc(const char16_t* workstation, const char16_t* user, const char16_t* prcInstance);
  // The copy has a connection of its own to the same master. It has no last written value
  // (GetUpdPropName) and knows no log mode until it sets one.
  Spc(const Spc& source);
  // As the copy, but for the last written value and the log modes, which stay the target's.
  Spc& operator=(const Spc& source);
  ~Spc();

  const UnicodeString& GetRootName() const { return m_root; }
  const UnicodeString& GetPrcSpaceName() const { return m_prcSpace; }
  bool IsConnected() const { return m_pSpSrvClnt != nullptr; }
  // Whether the local tree is asked at all. Without local access every read and write goes to the
  // master.
  bool IsLocalAccess() const { return m_localAccess; }

  // What the last successful local SetPar or SetParAttr... left: the name of the value written, and
  // "@replicate" and "@disableLog" of its parameter. Empty and false before.
  const UnicodeString& GetUpdPropName() const { return m_updPropName; }
  bool IsReplicate() const { return m_replicate; }
  bool IsDisableLog() const { return m_disableLog; }

  // Set an override name; null empties it. The result is the previous name, readable until the next call
  // of the same operation on this object.
  const char16_t* SetWorkstation(const char16_t* name);
  const char16_t* SetUser(const char16_t* name);
  const char16_t* SetPrcInstance(const char16_t* name);

  // Reads. The value is the first that exists of: the override value, "@value", "@superValue". A text with
  // "@decrypt" is unscrambled. A parameter that the local tree lacks is read from the master, if there is
  // a connection. After false the value is not defined. From the master come at most 2,048 bytes of text, or
  // as many bytes as the buffer has characters; what is longer is a false with 0.
  bool GetPar(const char16_t* topic, const char16_t* par, UnicodeString& value, std::uint32_t* err = nullptr,
              std::int32_t noErrMsg = 0);
  // Capacity in characters, terminator included. noErrMsg reaches the tests of "@type", "@override" and
  // "@decrypt" and the master, not this form's own reports.
  bool GetPar(const char16_t* topic, const char16_t* par, char16_t* value, std::uint32_t capacity,
              std::uint32_t* err = nullptr, std::int32_t noErrMsg = 0);
  bool GetPar(const char16_t* topic, const char16_t* par, std::int32_t* value, std::uint32_t* err = nullptr,
              std::int32_t noErrMsg = 0);
  bool GetPar(const char16_t* topic, const char16_t* par, double* value, std::uint32_t* err = nullptr,
              std::int32_t noErrMsg = 0);
  bool GetPar(const char16_t* topic, const char16_t* par, std::int64_t* value, std::uint32_t* err = nullptr,
              std::int32_t noErrMsg = 0);
  bool GetPar(const char16_t* topic, const char16_t* par, bool* value, std::uint32_t* err = nullptr,
              std::int32_t noErrMsg = 0);
  // Reads the entries in order up to the one whose name is null. Ends at the first that fails, with its
  // code: those before it have their values, those after it are untouched. noErrMsg serves the report of an
  // unknown type alone.
  bool GetPar(const char16_t* topic, const SpcParS* list, std::uint32_t* err = nullptr,
              std::int32_t noErrMsg = 0);

  // Writes of a parameter that exists: its override value, where the parameter has an override of a kind
  // whose name this object has, else "@value". Locally, or by the master: where local access is off, where
  // the local tree lacks the parameter, and, with a connection, by "@disableLog" and where the master
  // runs.
  //
  // The text's own length counts, not the size. With encrypt the text is scrambled and "@decrypt" set
  // first, which stays set if the write then fails; without it "@decrypt" is left as it is.
  bool SetPar(const char16_t* topic, const char16_t* par, const char16_t* value, std::uint32_t size,
              std::uint32_t* err = nullptr, bool encrypt = false);
  bool SetPar(const char16_t* topic, const char16_t* par, UnicodeString value, std::uint32_t* err = nullptr,
              bool encrypt = false);
  bool SetPar(const char16_t* topic, const char16_t* par, std::int32_t value, std::uint32_t* err = nullptr);
  bool SetPar(const char16_t* topic, const char16_t* par, double value, std::uint32_t* err = nullptr);
  bool SetPar(const char16_t* topic, const char16_t* par, const std::int64_t* value,
              std::uint32_t* err = nullptr);
  bool SetPar(const char16_t* topic, const char16_t* par, bool value, std::uint32_t* err = nullptr);
  // Any other pointer would pass as a boolean. A literal goes in as UnicodeString(u"text").
  template <class Value>
  requires(!std::is_same_v<std::remove_const_t<Value>, std::int64_t>) bool SetPar(
      const char16_t* topic, const char16_t* par, Value* value, std::uint32_t* err = nullptr,
      bool encrypt = false) = delete;

  // Set or remove the flags "@encrypt" and "@decrypt" of a text parameter. The stored text stays as it is:
  // whoever changes "@decrypt" has to write the text anew. Where the write goes to the master, both values
  // set the flag, since the telegram does not carry them; SpSrvClntEx::DeleteProperty removes it there. What
  // the master refuses of a flag is in err alone and not traced, also for an encrypted SetPar.
  bool SetParAttrEncrypt(const char16_t* topic, const char16_t* par, bool flag, std::uint32_t* err = nullptr);
  bool SetParAttrDecrypt(const char16_t* topic, const char16_t* par, bool flag, std::uint32_t* err = nullptr);

  // What the master does as a whole. Without a connection these give false with 19, which they do not trace;
  // the version alone connects by itself, to SYSPARSERVICE with local access, and stays connected.

  // Empty after false, which is traced.
  bool GetMasterVersion(UnicodeString& version);
  // Appends the registry text of the master's tree, as far as it comes.
  bool ExportReg(UnicodeString& text, std::uint32_t* err = nullptr);
  // Brings a registry text into the master's tree.
  bool ImportReg(const UnicodeString& text, std::uint32_t* err = nullptr);
  // Passes on a change that another system made to one of its parameters: the source tells of it by the
  // fields topic, par, msid, user, app, ws, propname, type, size and binary. The parameter is that of this
  // object's process space. A null source fails with 87, and so does one whose value is longer than its size
  // says, or missing though there is a size.
  bool ReplicatePar(const DfsBin* source, const UnicodeString& replicator, std::uint32_t* err = nullptr);

  // "@value" of the local tree alone: no master, type, override, flag or code. With create, a key that is
  // missing is made, empty. The default, which is never stored, is the result of every failure.
  UnicodeString GetLocalPar(const UnicodeString& topic, const UnicodeString& par,
                            const UnicodeString& defaultValue, bool create);
  std::int32_t GetLocalPar(const UnicodeString& topic, const UnicodeString& par, std::int32_t defaultValue,
                           bool create);
  // Make a missing key. Without a "@type" it is then a parameter for GetLocalPar, not for GetPar.
  bool SetLocalPar(const UnicodeString& topic, const UnicodeString& par, const UnicodeString& value);
  bool SetLocalPar(const UnicodeString& topic, const UnicodeString& par, std::int32_t value);

  // The directories of the installation: text parameters of the topic "Global", read from the local tree
  // alone, "@value" or else "@superValue", with environment references expanded where the text is stored
  // as expandable. Nothing is appended, and nobody tests that the directory exists. On failure dir is
  // untouched and err is 2 (no such parameter or value) or a registry number.
  bool GetRootDir(UnicodeString& dir, std::uint32_t* err = nullptr);
  bool GetBinDir(UnicodeString& dir, std::uint32_t* err = nullptr);
  // PS_CFG_DIR, or PS_CONFIG_DIR where the first does not exist.
  bool GetCfgDir(UnicodeString& dir, std::uint32_t* err = nullptr);
  bool GetHlpDir(UnicodeString& dir, std::uint32_t* err = nullptr);
  bool GetInstDir(UnicodeString& dir, std::uint32_t* err = nullptr);
  bool GetLogDir(UnicodeString& dir, std::uint32_t* err = nullptr);
  bool GetSysLogDir(UnicodeString& dir, std::uint32_t* err = nullptr);
  bool GetTmpDir(UnicodeString& dir, std::uint32_t* err = nullptr);

  // Log modes: 0, 1 or 2, kept as a scrambled word in the text parameter "LogMode" of the topics "Master",
  // "DlgMgr" and "ACSP-" with the MAC number. The getters give 0 for whatever is missing or unknown.
  std::int32_t GetDMSLogMode();
  std::int32_t GetDlgMgrLogMode();
  std::int32_t GetMACLogMode(std::int32_t mac);
  // False if the write fails. A mode below 0 or beyond the object's list of words throws the
  // invalid-argument exception of CArray, with nothing stored. Each call makes the list three words
  // longer.
  bool SetDlgMgrLogMode(std::int32_t mode);
  bool SetLogModeMAC(std::int32_t mac, std::int32_t mode);

  static const char16_t* const m_pRootName;
  static const char16_t* const m_pEnvVarName;
  static const char16_t* const m_pDefPrcSpaceName;
  static const char16_t* const m_pMaster;

  // Names of values of a parameter's key.
  static const char16_t* const m_pTYPE;
  static const char16_t* const m_pVAL;
  static const char16_t* const m_pSUPERVAL;
  static const char16_t* const m_pOVERRIDE;
  static const char16_t* const m_pREADONLY;
  static const char16_t* const m_pREPLICATE;
  static const char16_t* const m_pDISABLELOG;
  static const char16_t* const m_pENCRYPT;
  static const char16_t* const m_pDECRYPT;
  static const char16_t* const m_pUNIT;
  static const char16_t* const m_pDSC;
  static const char16_t* const m_pFUNCTIONAL;

  // Names of parameters of the topic "Global".
  static const char16_t* const m_pParRootDir;
  static const char16_t* const m_pParBinDir;
  static const char16_t* const m_pParHlpDir;
  static const char16_t* const m_pParHlpLang;
  static const char16_t* const m_pParCfgDir;
  static const char16_t* const m_pParConfigDir;
  static const char16_t* const m_pParLogDir;
  static const char16_t* const m_pPARSYSLOGDIR;
  static const char16_t* const m_pParTmpDir;
  static const char16_t* const m_pParInstDir;

protected:
  // Replaces the path by the key path of the parameter. No part is checked. Always true.
  bool GetParPath(UnicodeString& path, const char16_t* topic, const char16_t* par);
  void SetPrcSpace(const char16_t* name);

  // Traces a code with the message and on the channel of its table row, unless it equals noErrMsg or
  // noErrMsg is 240.
  void SendDbgError(std::int32_t code, const char16_t* name, std::int32_t noErrMsg);

  // Tests on a node that is open on the parameter's key.

  // 0 with the name of the override value, whether or not that exists. Otherwise the name is untouched: 2
  // no override, 7 unknown letter, 8 to 10 an override of a kind whose name this object lacks (7 to 10
  // are traced here), or the registry's number.
  std::int32_t GetOverrideName(RgNode& node, UnicodeString& name, std::int32_t noErrMsg);
  // False with the code 16, 2 (traced as 250) or the registry's number. The code is untouched on true;
  // the parameter's name plays no part.
  bool IsValidDataType(RgNode& node, const char16_t* parName, std::uint16_t letter, std::uint32_t& code,
                       std::int32_t noErrMsg);
  // The letter is filled as far as the stored bytes go.
  bool IsAttrOverride(RgNode& node, std::uint16_t& letter, std::int32_t noErrMsg);
  // False also where the flag could not be read, which is traced.
  bool IsAttrDecrypt(RgNode& node, std::int32_t noErrMsg);
  bool IsAttrDisableLog(RgNode& node, std::int32_t noErrMsg);
  bool IsAttrEncrypt(RgNode& node, std::int32_t noErrMsg);
  bool IsAttrReadOnly(RgNode& node, std::int32_t noErrMsg);
  bool IsAttrReplicate(RgNode& node, std::int32_t noErrMsg);

  // Writes the value that applies to this object, by the form of its type, which must be the parameter's, and
  // delivers its name. What GetUpdPropName and its kin tell is not touched.
  bool WriteValue(RgNode& node, const client::WriteForm& form, UnicodeString& name, std::uint32_t& code);

  // One parameter read, write or flag write by the master; sizes in bytes. Without a connection: false
  // with 19. A reply that lacks its value gives false with 0.
  bool GetRemotePar(const char16_t* topic, const char16_t* par, void* value, std::uint16_t letter,
                    std::uint32_t capacity, std::uint32_t* err, std::int32_t noErrMsg);
  bool SetRemotePar(const char16_t* topic, const char16_t* par, const void* value, std::uint16_t letter,
                    std::uint32_t count, std::uint32_t* err);
  bool SetRemoteParAttr(const char16_t* topic, const char16_t* par, const char16_t* attr, const void* value,
                        std::int32_t letter, std::int32_t count, std::uint32_t* err);

  UnicodeString m_root;
  UnicodeString m_prcSpace;
  UnicodeString m_oWorkstation;
  UnicodeString m_oUser;
  UnicodeString m_oPrcInstance;
  std::unique_ptr<SpSrvClntEx> m_pSpSrvClnt;  // null: not connected
  UnicodeString m_updPropName;
  bool m_replicate = false;
  bool m_disableLog = false;
  bool m_localAccess = true;
  CArray<UnicodeString, UnicodeString> m_logModeWords;  // the index is the log mode

private:
  void TakeSettings(const Spc& source);
  bool Fail(std::uint32_t& code, std::int32_t failure, const char16_t* name, std::int32_t noErrMsg);
  bool ReadFlag(RgNode& node, const char16_t* name, std::int32_t noErrMsg);

  client::Placement OpenPar(RgNode& node, const char16_t* topic, const char16_t* par, std::uint32_t& code,
                            std::int32_t noErrMsg);
  bool ReadPar(const char16_t* topic, const char16_t* par, client::ReadForm& form, std::uint32_t* err,
               std::int32_t noErrMsg);
  bool ReadPlain(const char16_t* topic, const char16_t* par, client::ReadForm& form) const;
  struct OverrideKind;
  static const OverrideKind* OverrideKindOf(std::uint16_t letter);
  // Null where the letter names no kind of override, or one that the object has no name for.
  const UnicodeString* OverrideNameFor(std::uint16_t letter) const;
  bool ReadResolved(RgNode& node, client::ReadForm& form, std::int32_t noErrMsg, std::int32_t& failure);
  bool ReadEntry(const char16_t* topic, const SpcParS& entry, std::uint32_t& code, std::int32_t noErrMsg);
  bool ReadRemote(const char16_t* topic, const char16_t* par, client::ReadForm& form, std::uint32_t& code,
                  std::int32_t noErrMsg);

  client::Placement PlaceWrite(RgNode& node, const char16_t* topic, const char16_t* par, bool asText,
                               std::uint32_t& code);
  bool WritePar(const char16_t* topic, const char16_t* par, const client::WriteForm& form,
                std::uint32_t& code);
  bool WriteLocal(RgNode& node, const client::WriteForm& form, std::uint32_t& code);
  bool PrepareOverride(RgNode& node, const UnicodeString& name, const client::WriteForm& form,
                       std::uint32_t& code);
  void KeepOutcome(RgNode& node, const char16_t* written);
  bool WriteAttr(const char16_t* topic, const char16_t* par, const char16_t* attr, bool flag,
                 std::uint32_t* err);
  bool WriteLocalAttr(RgNode& node, const char16_t* attr, bool flag, std::uint32_t& code);

  bool IsMasterLocal() const;

  bool ReadDir(UnicodeString& dir, std::uint32_t* err, const char16_t* par, const char16_t* fallback);
  bool OpenDir(RgNode& node, const char16_t* par, std::uint32_t& code);

  void AppendLogModeWords();
  std::int32_t ReadLogMode(const char16_t* topic);
  bool WriteLogMode(const char16_t* topic, std::int32_t mode);

  template <class Value>
  Value ReadLocalPar(const char16_t* topic, const char16_t* par, const Value& defaultValue, bool create);
  template <class Value>
  bool WriteLocalPar(const char16_t* topic, const char16_t* par, const Value& value);

  // What the three setters returned last.
  UnicodeString m_previousWorkstation;
  UnicodeString m_previousUser;
  UnicodeString m_previousPrcInstance;
};

#pragma GCC diagnostic pop
