// SPDX-License-Identifier: Apache-2.0
#include "recognise/batch/tracklist_run.h"

#include "base/reason.h"
#include "base/text.h"
#include "coding/pcm_preparation.h"
#include "recognise/output/tracklist_texts.h"
#include "recognise/tracklist/track_lister.h"

#include <exception>
#include <memory>
#include <string>

namespace tarn::recognise {

namespace {

// Gives all samples of a source to the lister, then ends the list. True if the source was read to its end; what is
// wrong with it is said otherwise. Ends early when out cannot be written.
template <class Source>
bool listAll(Source& source, int rateHz, int channels, TrackLister& lister, const std::ostream& out,
             const std::string& name, std::ostream& err) {
    bool isRead = true;
    try {
        server::PcmPreparation preparation(rateHz, channels);
        for (auto pcm = source.read(); !pcm.empty() && out.good(); pcm = source.read()) {
            lister.add(preparation.prepare(pcm));
        }
    } catch (const std::exception& error) {
        err << name << ": " << server::reasonOf(error) << "; the list ends at " << timeText(lister.heardMs()) << '\n';
        isRead = false;
    }
    lister.finish();
    return isRead;
}

// The exit status. What was not asked is said.
int finished(const TrackLister& lister, bool isRead, const std::string& name, std::ostream& err) {
    if (lister.windowsNotAsked() == 0) return isRead ? kListComplete : kListUnreadable;
    err << name << ": " << server::counted(lister.windowsNotAsked(), "window") << " of "
        << lister.windowsAsked() + lister.windowsNotAsked()
        << " could not be asked: " << server::cleanText(lister.reason()) << '\n';
    return kListNotAsked;
}

int listFile(const TracklistOptions& options, server::MediaProcess& media, Asker& asker, std::ostream& out,
             std::ostream& err) {
    const std::string name = server::inOneLine(options.file.string());
    server::MediaFile::Wanted wanted;
    wanted.samples = true;
    server::MediaFile file(media, options.file, wanted);
    const auto writer = makeTracklistWriter(options.format, options.file.string(), out);
    writer->begin();
    const auto listener = [&writer](const Event& event) {
        if (event.kind == EventKind::kEnd && !isWithdrawn(event)) writer->add(event.entry);
    };
    TrackLister lister(asker, listener, kMaxFailures);
    const bool isRead = listAll(file, file.rateHz(), file.channels(), lister, out, name, err);
    if (writer->leftOut() > 0) {
        err << name << ": " << server::counted(writer->leftOut(), "track")
            << " left out, because a CUE sheet holds 99; choose another format for all of them\n";
    }
    return finished(lister, isRead, name, err);
}

} // namespace

int listTracksOfFile(const TracklistOptions& options, Asker& asker, std::ostream& out, std::ostream& err) {
    try {
        if (options.media != nullptr) return listFile(options, *options.media, asker, out, err);
        server::MediaProcess media;
        return listFile(options, media, asker, out, err);
    } catch (const std::exception& error) {
        err << server::inOneLine(options.file.string()) << ": " << server::reasonOf(error) << '\n';
        return kListUnreadable;
    }
}

int listTracksOfStream(const LiveOptions& options, Asker& asker, std::ostream& out, std::ostream& err) {
    const std::string name = "live";
    const auto writer = makeEventWriter(options.format, out);
    if (writer == nullptr) {
        err << "a CUE sheet can only be written at the end of a stream; choose ndjson, csv, labels or table\n";
        return kListUnreadable;
    }
    try {
        PcmStream stream(options.descriptor, options.pcm, options.waiting);
        writer->begin();
        TrackLister lister(asker, [&writer](const Event& event) { writer->add(event); });
        const PcmFormat format = stream.format();
        const bool isRead = listAll(stream, format.rateHz, format.channels, lister, out, name, err);
        return finished(lister, isRead, name, err);
    } catch (const std::exception& error) {
        err << name << ": " << server::reasonOf(error) << '\n';
        return kListUnreadable;
    }
}

} // namespace tarn::recognise
