// WfdbSegments: a recording in the WFDB layout whose header names other records, which follow each other in
// time.
//
// Leads are told apart by their names, case ignored: those of all segments, in the order of the layout where
// the record begins with one (a segment of no length), else in the order in which they first come. A lead
// that a segment does not have, and all leads in a gap ("~"), keep the value they had, 0 at the start; so do
// leads in a segment that ends before its announced length. A segment without a signal in a unit of voltage
// is a gap, with a warning. All segments are read at the coarsest scale that one of them needs. One segment
// is open at a time. Refused, with a HostError: segments outside the header's folder, also by way of links,
// and gaps of more than 6 hours in all.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/record/WfdbHeader.h"
#include "host/record/WfdbRecord.h"

class WfdbSegments : public FrameSource {
public:
    /// `header` has segments and was read from `path`. Looks into every segment once. Throws HostError.
    WfdbSegments(const std::string& path, WfdbHeader header);

    const SourceInfo& Info() const override { return m_info; }
    bool Read(short* frame) override;
    /// The first of them, with a count of the others: what is wrong with one segment often is with hundreds.
    std::vector<std::string> Warnings() const override;
    std::vector<std::string> Describe() const override;
    std::vector<std::string> Files() const override { return m_files; }

private:
    /// Of its header. Throws HostError where there is none, or it lies outside the folder.
    std::string PathOf(const WfdbSegment& segment) const;
    void OrderByLayout();
    void OpenNext();
    void Close();
    void Warn(const std::string& text);

    std::string m_folder;
    std::vector<WfdbSegment> m_segments;
    SourceInfo m_info;
    std::vector<std::string> m_files;
    std::vector<std::string> m_warnings;
    long long m_warningsNotKept = 0;
    long long m_gapFrames = 0;  // frames read in gaps and behind the early ends of segments

    std::size_t m_next = 0;              // segment to open
    long long m_framesLeft = 0;          // of the open segment
    std::unique_ptr<WfdbRecord> m_open;  // null in a gap
    std::vector<std::size_t> m_leadOf;   // of each lead of the open segment, here
    std::vector<short> m_segmentFrame, m_latest;
};
