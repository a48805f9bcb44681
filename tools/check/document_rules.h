#pragma once

#include "tools/check/finding.h"
#include "tools/check/vocabulary.h"
#include "tools/check/xml_file.h"

namespace corvenna::check {

/// What the loaders pass over in one document, element by element: names that they do not know,
/// values that they change, attributes that come from the element before.
void CheckDocument(const XmlFile &file, const Vocabulary &vocabulary, Findings &findings);

}  // namespace corvenna::check
