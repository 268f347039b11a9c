#include "home_screen/ask/groups.hpp"

#include "home_screen/ask/directory.hpp"
#include "home_screen/ask/exported.hpp"
#include "simulator/device.hpp"

namespace home_screen {

std::vector<GroupSize> askGroups(Session& session) {
  const Directory directory(session.device().addressBook);
  std::vector<GroupSize> sizes;
  for (const ListedGroup& listed : listGroups(session)) {
    GroupSize& size = sizes.emplace_back(GroupSize{listed.id, listed.name, 0, 0, 0});
    const simulator::Group* const group = directory.group(listed.id);
    if (group == nullptr) continue;
    for (const std::int64_t member : group->members) {
      const simulator::Person* const person = directory.person(member);
      if (person == nullptr) continue;
      ++size.members;
      size.numbers += person->phones.size();
      size.addresses += person->emails.size();
    }
  }
  return sizes;
}

}  // namespace home_screen
