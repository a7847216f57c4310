// What the tests of the tree's administration share: a small tree, and a Spa whose inside is open.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "src/Spa.h"
#include "tests/client/ClientTest.h"

class OpenSpa : public Spa {
public:
  using Spa::m_parName;
  using Spa::m_pParNode;
  using Spa::m_pPrcSpaceNode;
  using Spa::m_prcSpaceName;
  using Spa::m_pRootNode;
  using Spa::m_pTopicNode;
  using Spa::m_rootName;
  using Spa::m_topicName;

  std::string Names() const;
  // A letter for each level from the root down: '-' closed, 'o' open, 'f' the last opening failed.
  std::string States() const;
};

// The tree of every test:
//   p1: t1 (a, b), t2 (a), t3 ()    p2: t1 (c)
class SpaTest : public ClientTest {
protected:
  SpaTest();

  static std::u16string At(const std::u16string& below);
  static void Make(const std::u16string& below);
  static bool Exists(const std::u16string& below);
  // Opens p1, t1 and a from the top.
  void OpenAll();
  void ExpectFailure(bool result, std::int32_t code);

  OpenSpa spa;
};

extern const char16_t* const testRoot;

// All that a GetNext operation delivers.
std::vector<std::string> listed(Spa& spa, bool (Spa::*getNext)(UnicodeString&));
// Runs the deletion of a key with all below it in a process of its own.
void deleteInAnotherProcess(const std::u16string& parent, const char16_t* name);
