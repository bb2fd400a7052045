// Whole ODB++ jobs: read from a job directory or an archive of one (.tgz,
// .tar.gz, .tar, .zip and whatever else libarchive reads), written as a job
// directory, atomically.
#pragma once
#include "engine/formats/odb/features.h"
#include "engine/model/model.h"

#include <string>

namespace kesto::odb {

// True when `path` names an archive rather than a directory.
bool is_archive(const std::string& path);

// Reads the job at `location` into `job` (name and folder untouched). Archive
// entries are read in memory and never extracted, so no entry can write
// anywhere; links and entries that would leave the job are skipped. False
// with `error` naming the file (and line) on bad input; `job` is then
// partly filled and must be dropped.
bool read_job(const std::string& location, Job& job, std::string& error);

// The attributes whose values a job's features files write as &n texts.
TextAttributes text_attributes(const Job& job);
// The option lists of a job's option attributes: its own definitions, then
// the system's feature options (.drill, .pad_usage, ...) it does not define.
OptionLists option_lists(const Job& job);

// Reads attribute definitions (the sysattr/userattr format) into `defs`.
bool parse_attribute_defs(std::string_view text, std::map<std::string, AttributeDef>& defs, std::string& error);

// Writes the job as the directory `target`: the whole job is written beside
// it and synced, then swapped in with one rename, so that a crash leaves the
// old job or the new one, never a mix. False with `error` when anything
// failed; the old job is then untouched.
bool save_job(const Job& job, const std::string& target, std::string& error);

// The whole job as one zstd-compressed tar archive in memory, its files in
// the folder `top` (at the archive's top when empty), as save_job writes them.
bool pack_job(const Job& job, const std::string& top, std::string& bytes, std::string& error);

// Reads a job from the bytes of an archive held in memory, as read_job reads
// an archive file.
bool read_job_archive(const std::string& bytes, Job& job, std::string& error);

} // namespace kesto::odb
