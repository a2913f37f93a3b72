// Further properties of inputs and outputs, and their limits (picture.h). For picture.cpp alone.
#pragma once

#include "picture.h"

// The size of all names and values.
std::size_t bytes_of(const port_properties& properties);

// Keeps a property of one port, within the limits; *bytes_in_all is the size of all ports' properties.
// Returns true when the property is new or has another value now.
bool keep_property(port_properties& properties, std::size_t* bytes_in_all, std::string_view name,
                   std::string_view value);
