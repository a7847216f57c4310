#include "bench/DconfPeer.h"

#include <dconf.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "bench/Process.h"
#include "bench/Tree.h"

namespace bench {

namespace {

void writeKeyFile(const std::string& path, std::uint32_t size) {
  std::ofstream file(path);
  std::u16string_view topic;
  const std::vector<Access> all = contents(size);
  for (const Access& access : all) {
    const std::string key(access.key);
    const std::size_t slash = key.rfind('/');
    if (topic != access.topic) file << '[' << key.substr(1, slash - 1) << "]\n";
    topic = access.topic;
    file << key.substr(slash + 1) << "='" << textOf(access.value) << "'\n";
  }
}

}  // namespace

void DconfPeer::Release::operator()(void* object) const {
  g_object_unref(object);
}

DconfPeer::DconfPeer(const std::string& directory, std::uint32_t size) {
  const std::string database = directory + "/database";
  const std::string keyFiles = directory + "/keyfiles.d";
  const std::string profile = directory + "/profile";
  std::filesystem::create_directory(keyFiles);
  writeKeyFile(keyFiles + "/tree", size);
  outputOf("dconf compile " + quoted(database) + " " + quoted(keyFiles));
  std::ofstream(profile) << "file-db:" << database << "\n";
  // Each new client takes the profile from the environment.
  setenv("DCONF_PROFILE", profile.c_str(), 1);
  m_client.reset(dconf_client_new());
}

DconfPeer::~DconfPeer() = default;

bool DconfPeer::read(const char* key, std::string& value) {
  GVariant* found = dconf_client_read(static_cast<DConfClient*>(m_client.get()), key);
  if (!found) return false;
  std::size_t length = 0;
  const char* text = g_variant_get_string(found, &length);
  value.assign(text, length);
  g_variant_unref(found);
  return true;
}

}  // namespace bench
