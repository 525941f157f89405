#include "brenic/JobFactory.h"

namespace brenic {

JobFactory JobFactory::s_JobFactory;

} // namespace brenic
