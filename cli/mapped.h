// A list made of another, element by element.
#ifndef QUORIN_CLI_MAPPED_H
#define QUORIN_CLI_MAPPED_H

#include <vector>

// What make gives for each element, in order.
template <typename Elements, typename Make>
auto mapped(const Elements& elements, const Make& make) {
  std::vector<decltype(make(*elements.begin()))> all;
  all.reserve(elements.size());
  for (const auto& element : elements) {
    all.push_back(make(element));
  }
  return all;
}

#endif
