// EdfRecord: a recording as EDF, EDF+ or BDF, read through EDFlib.
//
// Leads are the signals in a unit of voltage, without "ECG " in front of their names; of equal names all but
// the first get a number. Signals of another unit or rate than the first lead's are left out with a warning.
// All come to one scale: the finest of 1, 2, 5, 10, 20 and 50 uV per unit at which the physical ranges of all
// leads fit into 16 bits, or in BDF the ranges that they use: those of its 24 bits are mostly there for what
// the electrodes add. A file that ends early, or whose header does not know its length, is read up to its
// last whole data record, with a warning. Refused, with a HostError: discontinuous files. EDFlib keeps a list
// of its open files: these objects are made and destroyed on one thread. The format is described in Kemp et al., Electroenceph clin
// Neurophysiol 1992; 82: 391-393, EDF+ in Kemp, Olivan, Clin Neurophysiol 2003; 114: 1755-1761.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/record/FrameSource.h"

struct edf_hdr_struct;

class EdfRecord : public FrameSource {
public:
    explicit EdfRecord(const std::string& path);
    ~EdfRecord() override;

    const SourceInfo& Info() const override { return m_info; }
    /// Throws HostError when the file cannot be read to its end.
    bool Read(short* frame) override;
    std::vector<std::string> Warnings() const override;
    std::vector<std::string> Describe() const override;
    std::vector<std::string> Files() const override;

private:
    struct State;

    void TakeNotes(const edf_hdr_struct& header);
    void TakeFacts(const edf_hdr_struct& header);

    SourceInfo m_info;
    std::unique_ptr<State> m_state;  // never null
};
