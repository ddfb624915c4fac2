#pragma once

#include <tinyxml2.h>

#include "platform/clock.h"
#include "plugin/interfaces/event_sink.h"

/// Turns one received document into the engine's events, in the order of its elements. A bad attribute takes
/// its default or makes its element have no effect. A GUID text that is none ends the dispatch of this
/// document, silently; events already reported stand.
void DispatchHostMessage(const tinyxml2::XMLDocument& document, norvane::IEventSink& sink,
                         const platform::Clock& clock);
