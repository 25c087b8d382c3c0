// Pacing: whether what a recording says of its patient tells of a pacemaker.
#pragma once

#include <string>
#include <vector>

/// True if a remark says that a pacemaker makes ventricular beats: by the words paced, pacing or pacemaker,
/// or by the SNOMED CT codes of paced rhythm (10370003) and of ventricular pacing (251266004). Pacing of the
/// atria alone, whose QRS is the heart's own, a wandering pacemaker, which is one of the heart, what is
/// denied and paced breathing or walking do not count.
bool TellsOfPacing(const std::vector<std::string>& remarks);
