// Handles of objects. All casts between the exported handle and a record stand here.
#pragma once

#include "platform/handle_table.h"
#include "store/record.h"

namespace kbann {

kb::HandleTable<AnnObject>& annObjectTable();

// The record of a handle; null for a null, dead or foreign one, whose memory is never touched.
inline AnnObject* annFromHandle(HANNOBJECT handle) { return annObjectTable().find(kb::handleValue(handle)); }
inline AnnObject* annFromHandle(uint32_t handle) { return annObjectTable().find(handle); }
// Null for no record.
inline HANNOBJECT annToHandle(const AnnObject* record) { return kb::toHandle<HANNOBJECT>(record ? record->hSelf : 0); }

} // namespace kbann
