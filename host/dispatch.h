#pragma once

#include <tinyxml2.h>

#include "platform/clock.h"
#include "plugin/interfaces/event_sink.h"

/// Reports one received document to the engine as events, in the order of its elements. A bad attribute gets
/// its default or disables its element. At a malformed GUID the rest of the document is ignored; events
/// before it have taken effect. The engine is told about answers that cannot be used.
void DispatchHostMessage(const tinyxml2::XMLDocument& document, norvane::IEventSink& sink,
                         const platform::Clock& clock);
