// What a request is called before its user.
#pragma once

#include "brenic/JobFactory.h"
#include "brenic/Message.h"

namespace brenic {

/// What the request was made from, as an administrator would say it ("the options of the section
/// Distribution", "the product Fluid"), to stand in a sentence. Product types are named as `products` knows
/// them; without it, or where it knows none, by their identifier.
String RequestName(const Message& request, const JobFactory* products);

} // namespace brenic
