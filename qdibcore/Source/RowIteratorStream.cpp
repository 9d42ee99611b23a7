// Text dump and binary stream of the row iterator.
#include <ostream>

#include "qdibcore/Source/internal/RowIteratorState.h"

const char* CRowIteratorBands::DumpTag() const noexcept { return "RowIterator"; }

void CRowIteratorBands::DumpExtraFields(std::ostream&) const {}
