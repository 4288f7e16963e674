// Lists that own what they point at.
#pragma once

#include <list>

namespace QUIRVA {

// Empties the list front to back. Each non-null element is deleted, as an array if `array` is 1.
template <class Element>
void DeletePointerList(std::list<Element*>& list, signed char array) {
  while (!list.empty()) {
    Element* element = list.front();
    list.pop_front();
    if (array == 1) {
      delete[] element;
    } else {
      delete element;
    }
  }
}

}  // namespace QUIRVA
