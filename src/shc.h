// The system's hierarchy of domains, subdomains and their hosts.
#pragma once

#include <cstdint>

#include "platform/support/UnicodeString.h"
#include "platform/support/api.h"
#include "shcBase.h"

// As in spc.h: no object is to be deleted through a pointer to its Spc base.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// Tells a process where its machine stands in the system, from the parameters DOMAIN and SUBDOMAIN of the
// topic Global and the domain texts of the topic DOMAINS, a parameter for each domain: D0000 for domain 0,
// and so on.
//
//   Shc shc;
//   shc.Init();
//   shc.ConnectSpService(u"SYSPARSERVICE", true);  // where the parameters are at the master
//   UnicodeString host = shc.GetHost();            // loads this machine's domain by itself
//
// The system is divided into domains, a domain into subdomains, each with a host. Levels: 0 the top (domain
// 0), 1 the head of a domain (whose subdomain has the domain's number), 2 a subdomain.
//
// Why an operation failed is in the traces. One object belongs to one thread at a time: a query changes which
// row is selected and may load rows.
class SPS_API Shc : public ShcBase {
public:
  Shc();
  // The copy has rows and columns of its own, and a connection of its own as copies of Spc have.
  Shc(const Shc& source);
  Shc& operator=(const Shc&) = delete;
  ~Shc() override;

  // Loads replace the rows, ordered by domain and subdomain with the first selected. The texts come from this
  // machine's store or, where its tree lacks the topic or local access is off, from the master; a connection
  // is the caller's to make. A domain text that cannot be read is left out of the whole hierarchy; so is,
  // after a warning, what a text has behind its last semicolon. A field that its column cannot take ends a
  // load from that place.

  // All domains; DOMAIN and SUBDOMAIN are not read again. A wrong text in this machine's store sends the load
  // to the master, too, behind the rows that came before it. False where neither place has the topic, or both
  // have a wrong text: the rows are then what the attempts added.
  bool Refresh() override;
  // DOMAIN and SUBDOMAIN, then all domains. False also, with the rows as they were, where one of those cannot
  // be read.
  virtual bool Load();
  // The same with this machine's domain alone. False, with the rows as they were, where its text cannot be
  // read.
  virtual bool LoadDomain();

  // What this machine's row says, which is the one whose subdomain is SUBDOMAIN. An empty table is loaded by
  // LoadDomain before. This machine's row is selected then. On failure, be it that there is no such row, -1
  // or the empty text.
  virtual std::int32_t GetDomain();
  virtual std::int32_t GetSubDomain();
  virtual UnicodeString GetDevID();
  virtual UnicodeString GetDsc();
  virtual UnicodeString GetHost();
  virtual std::int16_t GetNoMacs();
  virtual std::int32_t GetLocalHierarchyLevel();

  // The level of the selected row; it loads nothing. -1 without rows, without a selected row or before DOMAIN
  // and SUBDOMAIN were read. Throws what the table throws.
  virtual std::int32_t GetHierarchyLevel();
  // The host above the selected row, which stays selected; empty, and a success, at the top. Loads nothing.
  // False, with host untouched, where GetHierarchyLevel has -1 or the row above is not in the table; with
  // host empty, and a selection that may have moved, where the table throws.
  virtual bool GetParentHost(UnicodeString& host);

  // DOMAIN as last read, -1 before.
  std::int32_t GetLocalDomain() const { return m_localDomain; }
  // The name of this computer; "localhost" where it has none. Any thread.
  UnicodeString GetComputerNameW() const;

protected:
  // Add all domains from one place. False where that place is not to be asked or lacks the topic, and where
  // AddDomainData fails.
  bool RefreshFromLocalSP();
  bool RefreshFromRemoteSP();
  // Adds a row for each record of a domain text; key is the name of its parameter. Of data is left what was
  // not read, which is nothing on success. False, after a trace, where a column takes its field not; the rows
  // made so far stay.
  bool AddDomainData(UnicodeString& key, UnicodeString& data);

  static const char16_t* const m_pTopicDomains;
  static const char16_t* const m_pParDomain;
  static const char16_t* const m_pParSubDomain;

  std::int32_t m_localDomain = -1;  // -1 until read, as the next
  std::int32_t m_localSubDomain = -1;
  DslCol& m_colDomain;
  DslCol& m_colSubDomain;
  DslCol& m_colDevId;
  DslCol& m_colDsc;
  DslCol& m_colHost;
  DslCol& m_colNoMacs;

private:
  bool ReadPlace();
  void SelectFirst();
  bool AddDomain(const UnicodeString& name);
  bool HasPlace() const;
  bool SelectLocalRow();
  template <class Value, class Read>
  Value AskLocalRow(const Value& failureValue, const Read& read);
  bool FindParentHost(UnicodeString& host);
};

#pragma GCC diagnostic pop
