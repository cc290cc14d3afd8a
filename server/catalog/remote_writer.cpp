// SPDX-License-Identifier: Apache-2.0
// A database behind a socket that may be written: `xapian-tcpsrv --writable`. It is one database, which the server at
// its other end changes in place; it has no generations and nothing to merge.
#include "catalog/catalog.h"
#include "catalog/engine.h"
#include "catalog/recording_packing.h"
#include "catalog/shard_writer.h"
#include "catalog/terms.h"

namespace tarn::server {

namespace {

constexpr unsigned kConnectMs = 1'000;
constexpr unsigned kCommitMs = 600'000; // a commit of a large batch has this time, and so has every other message

class RemoteWriter final : public ShardWriter {
  public:
    RemoteWriter(const std::string& host, unsigned port)
        : database_(Xapian::Remote::open_writable(host, port, kCommitMs, kConnectMs)) {
        expectSound(database_, host + ":" + std::to_string(port));
        database_.begin_transaction(); // outside of one, what is left would be committed when it is closed
        if (database_.get_doccount() == 0) markFormat(database_);
    }

    Xapian::docid find(const std::string& contentHash) const override {
        return firstPosting(database_, hashTerm(contentHash));
    }

    void put(const Recording& recording, Xapian::docid known) override {
        const Xapian::Document document = documentOf(recording, nullptr);
        Xapian::docid id = known;
        if (known != 0) {
            database_.replace_document(known, document);
        } else {
            id = database_.add_document(document);
        }
        database_.set_metadata(recordingKey(id), packRecording(recording));
    }

    bool remove(Xapian::docid id) override {
        try {
            database_.delete_document(id);
            database_.set_metadata(recordingKey(id), "");
            return true;
        } catch (const Xapian::DocNotFoundError&) {
            return false;
        }
    }

    std::optional<FileEntry> file(const std::string& key) const override {
        return unpackFileEntry(database_.get_metadata(key));
    }

    void remember(const std::string& key, FileEntry entry) override { database_.set_metadata(key, pack(entry)); }

    void commit() override {
        database_.commit_transaction();
        database_.begin_transaction();
    }

    bool isSound(Xapian::docid id) const override {
        return unpackRecording(database_.get_metadata(recordingKey(id))).has_value();
    }

    // Nothing of it is hidden.
    std::vector<Xapian::docid> compact(bool /*purge*/) override {
        commit();
        return {};
    }

  private:
    Xapian::WritableDatabase database_;
};

} // namespace

std::unique_ptr<ShardWriter> remoteWriter(const std::string& host, unsigned port) {
    return std::make_unique<RemoteWriter>(host, port);
}

} // namespace tarn::server
