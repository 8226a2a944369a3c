// ExternalRenderer is a plain record; its accessors are inline in the header.
#include "ExternalRenderer.h"
