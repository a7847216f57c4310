// The installation's directories: one read, in the local tree alone.
#include "src/RgNode.h"
#include "src/spc.h"
#include "src/spcForms.h"

namespace {

constexpr const char16_t* globalTopic = u"Global";

}  // namespace

bool Spc::GetRootDir(UnicodeString& dir, std::uint32_t* err) {
  return ReadDir(dir, err, m_pParRootDir, nullptr);
}

bool Spc::GetBinDir(UnicodeString& dir, std::uint32_t* err) {
  return ReadDir(dir, err, m_pParBinDir, nullptr);
}

bool Spc::GetCfgDir(UnicodeString& dir, std::uint32_t* err) {
  return ReadDir(dir, err, m_pParCfgDir, m_pParConfigDir);
}

bool Spc::GetHlpDir(UnicodeString& dir, std::uint32_t* err) {
  return ReadDir(dir, err, m_pParHlpDir, nullptr);
}

bool Spc::GetInstDir(UnicodeString& dir, std::uint32_t* err) {
  return ReadDir(dir, err, m_pParInstDir, nullptr);
}

bool Spc::GetLogDir(UnicodeString& dir, std::uint32_t* err) {
  return ReadDir(dir, err, m_pParLogDir, nullptr);
}

bool Spc::GetSysLogDir(UnicodeString& dir, std::uint32_t* err) {
  return ReadDir(dir, err, m_pPARSYSLOGDIR, nullptr);
}

bool Spc::GetTmpDir(UnicodeString& dir, std::uint32_t* err) {
  return ReadDir(dir, err, m_pParTmpDir, nullptr);
}

bool GetHlpDir(UnicodeString& dir) {
  Spc spc;
  return spc.Init() && spc.GetHlpDir(dir);
}

bool Spc::ReadDir(UnicodeString& dir, std::uint32_t* err, const char16_t* par, const char16_t* fallback) {
  std::uint32_t scratch;
  std::uint32_t& code = client::startCode(err, scratch);
  RgNode node;
  if (!OpenDir(node, par, code)) {
    if (!fallback || node.GetRetCode() != ERROR_FILE_NOT_FOUND) return false;
    if (!OpenDir(node, fallback, code)) return false;
    code = 0;
  }
  if (node.GetValue(m_pVAL, dir)) return true;
  if (node.GetRetCode() != ERROR_FILE_NOT_FOUND) return Fail(code, node.GetRetCode(), par, 0);
  if (node.GetValue(m_pSUPERVAL, dir)) return true;
  return Fail(code, ERROR_FILE_NOT_FOUND, par, 0);
}

bool Spc::OpenDir(RgNode& node, const char16_t* par, std::uint32_t& code) {
  UnicodeString path;
  GetParPath(path, globalTopic, par);
  return node.Init(path, false, false) || Fail(code, node.GetRetCode(), par, 0);
}
