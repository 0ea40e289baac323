#include "Uuid.h"

#include <algorithm>
#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_io.hpp>

namespace zul {

namespace {

std::string upperCase(const boost::uuids::uuid& uuid) {
  auto text = boost::uuids::to_string(uuid);
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'a' && c <= 'f' ? c - 'a' + 'A' : c; });
  return text;
}

}  // namespace

std::string randomUuid() {
  return upperCase(boost::uuids::random_generator_pure()());
}

std::string namedUuid(const std::string& space, const std::string& name) {
  const boost::uuids::name_generator_sha1 spaces(boost::uuids::ns::x500dn());
  return upperCase(boost::uuids::name_generator_sha1(spaces(space))(name));
}

}  // namespace zul
