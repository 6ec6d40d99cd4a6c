#pragma once

#include <QString>

// The calibration editor's look: dark blue-grey surfaces with cyan accents, addressed by the
// object names, style classes and dynamic properties ("inside", "connected") of the panel and its
// cards. Set once on the panel; the cards inherit it.
QString calibrationEditorStyleSheet();
