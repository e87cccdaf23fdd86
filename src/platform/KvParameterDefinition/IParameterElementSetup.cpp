#include "IParameterElementSetup.h"

// Out of line, so that the interface's type information lives in this module.
IParameterElementSetup::~IParameterElementSetup() = default;
