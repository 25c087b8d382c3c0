// EdfSink: a recording as EDF+, through EDFlib.
//
//   digital value = sample, to the bit; physical value = sample * uVpb microvolts
//
// One data record per second, as EDF readers expect. The last one is filled up with each lead's last sample;
// the annotation "Recording ends" stands where the signal ends then. EDF tells the physical range in eight
// characters: a scale with more digits than they hold is kept to about six.
// A start without a date, and an unknown one, are given the date 1985-01-01 that EDF uses for recordings
// without: the same signal gives the same file on any day. EDF has 80 characters for all that is told of the
// patient, and 80 for the recording: what is longer is cut off.
//
// EDFlib keeps a list of its open files: create and destroy these objects on one thread.
#pragma once

#include <string>
#include <vector>

#include "host/record/FrameSink.h"
#include "host/record/FrameSource.h"
#include "host/support/PendingFile.h"

class EdfSink : public FrameSink {
public:
    /// Throws HostError for more leads or another scale than EDF can hold.
    EdfSink(const std::string& path, const SourceInfo& info);
    void Write(const short* frame) override;
    /// Throws HostError without any frame: EDF has no empty recordings.
    std::vector<PendingFile*> Finish() override;

private:
    /// Closes what EDFlib has open.
    struct Handle {
        ~Handle();
        int value = -1;
    };

    void DescribeSignals(const SourceInfo& info);
    void DescribeRecording(const SourceInfo& info);
    void DescribePatient(const Patient& patient);
    void WriteRecord();
    /// EDFlib answers 0 where all is well.
    void Need(int answer, const char* what) const;

    std::string m_path;
    std::size_t m_chn;
    unsigned m_fs;
    PendingFile m_file;
    Handle m_handle;              // closed before the file goes
    std::vector<short> m_record;  // one second, lead after lead
    unsigned m_filled = 0;        // frames in it
    long long m_records = 0;      // written
};
