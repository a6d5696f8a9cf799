#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <memory>

#include "options.h"

namespace qom::record {
namespace {

std::string user_name() {
  const passwd *entry = getpwuid(getuid());
  return entry ? entry->pw_name : std::to_string(getuid());
}

// The first field of what the user database holds besides the name; the user's name when empty.
std::string full_name(const std::string &user) {
  const passwd *entry = getpwnam(user.c_str());
  const std::string details = entry && entry->pw_gecos ? entry->pw_gecos : "";
  const std::string name = details.substr(0, details.find(','));
  return name.empty() ? user : name;
}

std::string host_name() {
  std::array<char, 256> name{};
  return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "localhost";
}

std::string numeric_address(const sockaddr *address) {
  std::array<char, NI_MAXHOST> text{};
  const socklen_t length =
      address->sa_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
  const int failed =
      getnameinfo(address, length, text.data(), text.size(), nullptr, 0, NI_NUMERICHOST);
  return failed ? "" : text.data();
}

// The first address that other machines know this one by, IPv4 before IPv6.
std::string host_address() {
  ifaddrs *all = nullptr;
  if (getifaddrs(&all) != 0) return "127.0.0.1";
  const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(all, freeifaddrs);
  for (const int family : {AF_INET, AF_INET6}) {
    for (const ifaddrs *one = all; one; one = one->ifa_next) {
      const bool usable = one->ifa_addr && one->ifa_addr->sa_family == family &&
                          (one->ifa_flags & IFF_UP) && !(one->ifa_flags & IFF_LOOPBACK);
      if (!usable) continue;
      if (std::string text = numeric_address(one->ifa_addr); !text.empty()) return text;
    }
  }
  return "127.0.0.1";
}

std::string session_identifier() {
  const char *session = std::getenv("XDG_SESSION_ID");
  return session && *session ? session : std::to_string(getsid(0));
}

}  // namespace

void complete_texts(Texts &texts) {
  if (!texts.user) texts.user = user_name();
  if (!texts.tfn) texts.tfn = full_name(*texts.user);
  if (!texts.host) texts.host = host_name();
  if (!texts.ip) texts.ip = host_address();
  if (!texts.sid) texts.sid = session_identifier();
  if (!texts.tid) texts.tid = std::to_string(getpid());
  if (!texts.appfmt) texts.appfmt = "%c: %t";
}

}  // namespace qom::record
