#include "tests/client/SpaTest.h"

#include <sys/wait.h>
#include <unistd.h>

#include "platform/support/Utf.h"

const char16_t* const testRoot = u"HKEY_LOCAL_MACHINE\\Tree";

namespace {

char stateOf(const std::unique_ptr<RgNode>& node) {
  if (!node) return '-';
  return node->GetNodePath().IsEmpty() ? 'f' : 'o';
}

}  // namespace

std::string OpenSpa::Names() const {
  return support::toUtf8((m_rootName + u" " + m_prcSpaceName + u" " + m_topicName + u" " + m_parName).View());
}

std::string OpenSpa::States() const {
  return {stateOf(m_pRootNode), stateOf(m_pPrcSpaceNode), stateOf(m_pTopicNode), stateOf(m_pParNode)};
}

SpaTest::SpaTest() {
  for (const char16_t* key : {u"p1\\t1\\a", u"p1\\t1\\b", u"p1\\t2\\a", u"p1\\t3", u"p2\\t1\\c"}) Make(key);
}

std::u16string SpaTest::At(const std::u16string& below) {
  return std::u16string(testRoot) + u"\\" + below;
}

void SpaTest::Make(const std::u16string& below) {
  RgNode node;
  EXPECT_TRUE(node.Init(At(below).c_str(), true, false));
}

bool SpaTest::Exists(const std::u16string& below) {
  HKEY key = 0;
  const std::u16string path = At(below).substr(sizeof "HKEY_LOCAL_MACHINE");
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, MAXIMUM_ALLOWED, &key) != 0) return false;
  return RegCloseKey(key) == 0;
}

void SpaTest::OpenAll() {
  ASSERT_TRUE(spa.GetRootAcc(testRoot, false, false));
  ASSERT_TRUE(spa.GetPrcSpaceAcc(u"p1", false, false));
  ASSERT_TRUE(spa.GetTopicAcc(u"t1", false, false));
  ASSERT_TRUE(spa.GetParAcc(u"a", false, false));
}

void SpaTest::ExpectFailure(bool result, std::int32_t code) {
  EXPECT_FALSE(result);
  EXPECT_EQ(spa.GetLastError(), code);
}

std::vector<std::string> listed(Spa& spa, bool (Spa::*getNext)(UnicodeString&)) {
  std::vector<std::string> names;
  UnicodeString name;
  while ((spa.*getNext)(name)) names.push_back(support::toUtf8(name.View()));
  EXPECT_EQ(spa.GetLastError(), 0);
  return names;
}

void deleteInAnotherProcess(const std::u16string& parent, const char16_t* name) {
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    RgNode node;
    const bool opened = node.Init(parent.c_str(), false, false);
    node.DelSubTree(name);
    ::_exit(opened ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_EQ(status, 0);
}
