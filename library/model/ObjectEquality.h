#pragma once
#include "platform/JSONValue.h"
namespace zentara {
bool objectsEqual(const JSONValue&, const JSONValue&);
}
