#pragma once

#include "facade/objc/Bridge.h"
