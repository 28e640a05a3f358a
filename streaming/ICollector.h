#pragma once

// kest::ICollector<T> is part of the host's provider interface (the host
// passes its own collectors into requests), so it is declared with it; the
// streaming collectors build on that declaration.
#include "host/Collector.h"
