#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "schemas/types/Work.h"

namespace zentara::schemas {

/// The places of an event that may have a type of their own, and the names of the types. A place is
/// known by its position; 0 is the event itself.
class TypeNames {
  public:
    static constexpr std::size_t event = 0;

    explicit TypeNames(Work& work) : work_(work) {}

    /// A property of that name inside another place.
    std::size_t addProperty(std::string_view name, std::size_t outer);
    /// A definition of that name.
    std::size_t addDefinition(std::string_view name) { return addProperty(name, event); }
    /// The elements of the list at a place. Those of a list of lists have the same name.
    std::size_t addItem(std::size_t list);

    /// The words of the place itself.
    [[nodiscard]] const std::vector<std::string>& wordsAt(std::size_t place) const {
        return places_[place].words;
    }

    /// The type at a place, whose name is to be found.
    struct Type {
        std::size_t place;
        std::vector<std::string>* words;
    };
    /// Gives each type a name of its own: that of its place, with as many of the outer ones in
    /// front as needed, and then a number.
    void nameAll(std::vector<Type> types);

  private:
    struct Place {
        std::vector<std::string> words;
        std::size_t outer = event;
        bool isItem = false;
    };
    struct Candidate {
        Type type;
        std::size_t levels;  ///< of places that are in the name
        std::vector<std::string> name;
    };

    [[nodiscard]] std::vector<std::string> nameOf(std::size_t place, std::size_t levels);
    bool lengthen(std::vector<Candidate>& candidates);

    Work& work_;
    std::vector<Place> places_ = {{}};
};

}  // namespace zentara::schemas
