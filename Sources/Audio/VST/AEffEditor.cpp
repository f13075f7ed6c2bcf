#include "Audio/VST/AEffEditor.h"

namespace kel
{

// Out of line so that the virtual table has one home.
AEffEditor::~AEffEditor() = default;

} // namespace kel
