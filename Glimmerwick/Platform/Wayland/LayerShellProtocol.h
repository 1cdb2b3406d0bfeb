#pragma once

#include <wayland-client-protocol.h>

// An argument in what the scanner writes is called "namespace".
#define namespace name
#include <wlr-layer-shell-unstable-v1.h>
#undef namespace
