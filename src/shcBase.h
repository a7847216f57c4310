// The table of the system's hosts, and a parameter client, in one object.
#pragma once

#include "platform/recordset/DslRecSet.h"
#include "platform/support/UnicodeString.h"
#include "platform/support/api.h"
#include "spc.h"

// As in spc.h: no object is to be deleted through a pointer to its Spc base.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// A row for each host of the system, with these columns:
//
//   domain        number of its domain, 0 at the top
//   subdomain     number of its subdomain, by which rows are found
//   devid         device identifier
//   description
//   hostname
//   noMacs        a count held per host, 16 bits
//
// The columns come with the object, the rows with Shc. One object belongs to one thread at a time: which row
// is selected is part of it.
class SPS_API ShcBase : public DslRecSet, public Spc {
public:
  ShcBase();
  // Copies and assignments are those of DslRecSet and of Spc.
  ShcBase(const ShcBase& source);
  ShcBase& operator=(const ShcBase& source);
  ~ShcBase() override;

  // Leaves no row. False, after a trace, where the table fails; it is then as the failure left it.
  virtual bool Refresh();

  // Those of Spc.
  bool Init() override;
  bool ConnectSpService(const char16_t* server, bool localAccess) override;

protected:
  // The key path of a topic, below m_pRootName: in the process space of this object or, with local false and
  // a connection, in the master's. The former also where the master does not answer.
  UnicodeString GetTopicPath(const char16_t* topic, bool local);

  static const char16_t* const m_pDomain;
  static const char16_t* const m_pSubDomain;
  static const char16_t* const m_pDevId;
  static const char16_t* const m_pDsc;
  static const char16_t* const m_pHost;
  static const char16_t* const m_pNoMacs;

private:
  void AddColumns();
};

#pragma GCC diagnostic pop
