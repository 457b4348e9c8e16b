#pragma once

#include "facade/objc/Handles.h"
