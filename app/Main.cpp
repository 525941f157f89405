// The framework's entry point drives this object.
#include "SetwrightApp.h"

SetwrightApp g_SetwrightApp;
