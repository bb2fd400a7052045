#include "engine/api/jobdb.h"

#include "engine/api/jobs.h"
#include "engine/api/units.h"
#include "engine/config/configuration.h"
#include "engine/db/jobs.h"
#include "engine/db/users.h"
#include "engine/drc/capsules.h"
#include "engine/drc/nets.h"
#include "engine/formats/odb/job_io.h"
#include "engine/model/text.h"
#include "engine/store/store.h"

#include <boost/filesystem.hpp>
#include <glog/logging.h>
#include <json/json.h>

#include <algorithm>
#include <ctime>
#include <numeric>

namespace kesto::jobdb {
namespace {

// The process's connection and who is signed in on it.
struct Session {
    std::unique_ptr<db::Database> database;
    std::string folder, conninfo; // what the connection was made from
    long long user = 0;
    std::string user_name;
};

Session& session()
{
    static Session* s = new Session();
    return *s;
}

// The configured database, connected (and its schema brought up to date) on
// first use and again whenever the configuration names another one.
db::Database& database()
{
    Session& s = session();
    const auto& conf = KESTO::configuration_instance::instance();
    if (s.database && s.folder == conf.jobdb_folder() && s.conninfo == conf.jobdb_connection()) return *s.database;
    s.database.reset();
    s.database = db::connect(conf.jobdb_folder(), conf.jobdb_connection());
    s.folder = conf.jobdb_folder();
    s.conninfo = conf.jobdb_connection();
    return *s.database;
}

bool refuse(const std::string& what)
{
    LOG(ERROR) << what;
    return false;
}

// Runs a database operation; any failure is logged and answers false. A
// failed connection is dropped so that the next command connects afresh.
template <class Work>
bool guarded(const char* op, Work&& work)
{
    try {
        return work();
    } catch (const std::exception& e) {
        session().database.reset();
        return refuse(std::string(op) + ": " + e.what());
    }
}

bool signed_in(const char* op)
{
    if (session().user > 0) return true;
    return refuse(std::string(op) + ": nobody is signed in to the job database");
}

// Names that become one folder of the job library.
bool plain_name(const std::string& name)
{
    if (name.empty() || name == "." || name == "..") return false;
    return std::none_of(name.begin(), name.end(), [](unsigned char c) { return c == '/' || c == '\\' || c <= ' '; });
}

bool store_open_job(const char* op, const std::string& name, const std::optional<std::string>& robot_version)
{
    if (!signed_in(op)) return false;
    const Job* job = store::find_job(name);
    if (!job) return refuse(std::string(op) + ": job '" + name + "' is not open");
    std::string archive, error;
    if (!odb::pack_job(*job, name, archive, error)) return refuse(std::string(op) + ": " + error);
    return guarded(op, [&] {
        const int revision = db::store_revision(database(), name, archive, session().user, robot_version);
        LOG(INFO) << op << ": job '" << name << "' stored as revision " << revision << " (" << archive.size()
                  << " bytes)" << (robot_version ? " and queued for the automation host" : "");
        return true;
    });
}

bool copper(const MatrixRow& row)
{
    return row.context == "BOARD" && (row.type == "SIGNAL" || row.type == "POWER_GROUND" || row.type == "MIXED");
}

const Symbol* symbol_of(const Layer& layer, const Feature& f)
{
    return f.symbol >= 0 && static_cast<size_t>(f.symbol) < layer.symbols.size() ? &layer.symbols[f.symbol] : nullptr;
}

// The width a line or arc draws with, -1 for symbols without one.
Coord stroke_width(const Layer& layer, const Feature& f)
{
    const Symbol* s = symbol_of(layer, f);
    if (!s || (s->family != SymbolFamily::Round && s->family != SymbolFamily::Square)) return -1;
    return static_cast<Coord>(s->p[0] + 0.5);
}

void keep_smallest(Coord& best, Coord value)
{
    if (value > 0 && (best < 0 || value < best)) best = value;
}

// The closest approach of round-ended copper (lines and round pads) of
// different nets on one layer; surfaces and other pad shapes are not measured.
Coord smallest_space(const Layer& layer, const std::vector<std::int32_t>& nets)
{
    constexpr Coord kReach = 500000; // half a millimetre: far wider than any production space
    std::vector<drc::Capsule> caps;
    for (size_t i = 0; i < layer.features.size() && i < nets.size(); ++i) {
        const Feature& f = layer.features[i];
        const Symbol* s = symbol_of(layer, f);
        if (nets[i] < 0 || f.polarity != Polarity::Positive || !s || s->family != SymbolFamily::Round) continue;
        const auto net = static_cast<std::uint32_t>(nets[i]);
        if (f.kind == FeatureKind::Line)
            caps.push_back({f.a, f.b, static_cast<Coord>(s->p[0] / 2), net});
        else if (f.kind == FeatureKind::Pad && f.resize == 0)
            caps.push_back({f.a, f.a, static_cast<Coord>(s->p[0] / 2), net});
    }
    Coord best = -1;
    drc::near_pairs(caps, kReach, true, [&](std::uint32_t i, std::uint32_t j) {
        const Coord gap = drc::capsule_gap(caps[i], caps[j]).gap;
        if (gap <= kReach) keep_smallest(best, gap);
    });
    return best;
}

double working(Coord nm) { return nm < 0 ? -1.0 : KESTO::API::to_working_unit(nm); }

} // namespace

Technology technology_of(Job& job)
{
    Technology t;
    t.attributes = job.attributes;
    t.attributes.erase("UNITS"); // the file's unit line, not an attribute
    for (const auto& [key, value] : job.attributes)
        if (t.surface_finish.empty() && lower(key).find("finish") != std::string::npos) t.surface_finish = value;
    for (const MatrixRow& row : job.rows)
        if (copper(row)) ++t.copper_layers;
    // The board itself: a step called pcb, else the first.
    Step* step = nullptr;
    if (auto it = job.steps.find("pcb"); it != job.steps.end()) step = &it->second;
    for (const MatrixStep& column : job.columns)
        if (!step && job.steps.count(column.name)) step = &job.steps.at(column.name);
    if (!step) return t;
    t.step = step->name;
    Box extent;
    for (const Contour& c : step->profile.contours) {
        extent.add(c.start);
        for (const Segment& s : c.segments) extent.add(s.end);
    }
    if (!extent.empty()) {
        t.board_width = extent.xmax - extent.xmin;
        t.board_height = extent.ymax - extent.ymin;
    }
    const drc::BoardNets nets = drc::compute_board_nets(job, *step);
    for (const MatrixRow& row : job.rows) {
        auto it = step->layers.find(lower(row.name));
        if (it == step->layers.end()) continue;
        const Layer& layer = it->second;
        if (copper(row)) {
            for (const Feature& f : layer.features)
                if (f.polarity == Polarity::Positive && (f.kind == FeatureKind::Line || f.kind == FeatureKind::Arc))
                    keep_smallest(t.min_line, stroke_width(layer, f));
            if (auto n = nets.net_of.find(it->first); n != nets.net_of.end())
                keep_smallest(t.min_space, smallest_space(layer, n->second));
        } else if (row.type == "DRILL") {
            for (const Feature& f : layer.features)
                if (f.kind == FeatureKind::Pad || f.kind == FeatureKind::Line) keep_smallest(t.min_drill, stroke_width(layer, f));
        }
    }
    return t;
}

void reset_session()
{
    Session& s = session();
    s.database.reset();
    s.user = 0;
    s.user_name.clear();
}

} // namespace kesto::jobdb

namespace KESTO {
namespace API {

using namespace kesto;
using kesto::jobdb::guarded;

bool login(const std::string& name, const std::string& pwd)
{
    jobdb::Session& s = jobdb::session();
    s.user = 0;
    s.user_name.clear();
    return guarded("login", [&] {
        const db::SignInResult r = db::sign_in(jobdb::database(), name, pwd, static_cast<long long>(std::time(nullptr)));
        if (r.verdict == db::SignIn::Locked)
            return jobdb::refuse("login: the account '" + name + "' is locked after repeated failed sign-ins");
        if (r.verdict != db::SignIn::Accepted) return jobdb::refuse("login: wrong name or password for '" + name + "'");
        s.user = r.user;
        s.user_name = name;
        LOG(INFO) << "login: '" << name << "' signed in";
        return true;
    });
}

int hasLogin() { return jobdb::session().user > 0 ? 1 : 0; }

bool LoadJobFromDB(const std::string& odb_jobname, const std::string& db_jobname, int job_id)
{
    if (!jobdb::signed_in("LoadJobFromDB")) return false;
    if (!jobdb::plain_name(odb_jobname)) return jobdb::refuse("LoadJobFromDB: '" + odb_jobname + "' is not a job name");
    if (store::find_job(odb_jobname))
        return jobdb::refuse("LoadJobFromDB: a job '" + odb_jobname + "' is open already; close it first");
    std::optional<db::StoredJob> stored;
    if (!guarded("LoadJobFromDB", [&] {
            stored = db::latest_revision(jobdb::database(), job_id, db_jobname);
            return true;
        }))
        return false;
    if (!stored)
        return jobdb::refuse("LoadJobFromDB: no stored job " + std::to_string(job_id) + " '" + db_jobname + "'");
    Job job;
    std::string error;
    if (!odb::read_job_archive(stored->archive, job, error))
        return jobdb::refuse("LoadJobFromDB: revision " + std::to_string(stored->revision) + " of '" + stored->name +
                             "' does not read: " + error);
    job.name = odb_jobname;
    job.folder = (boost::filesystem::path(configuration_instance::instance().job_library()) / odb_jobname).string();
    LOG(INFO) << "LoadJobFromDB: revision " << stored->revision << " of '" << stored->name << "' opened as '"
              << odb_jobname << "'";
    store::add_job(std::move(job));
    return true;
}

bool InsetJobToDB(const std::string& job) { return jobdb::store_open_job("InsetJobToDB", job, std::nullopt); }

bool InsetJobToRobotDB(const std::string& job, const std::string& robotVersion)
{
    return jobdb::store_open_job("InsetJobToRobotDB", job, robotVersion);
}

std::string TechnologyInfo(int job_id)
{
    if (!jobdb::signed_in("TechnologyInfo")) return "";
    std::optional<db::StoredJob> stored;
    if (!guarded("TechnologyInfo", [&] {
            stored = db::latest_revision(jobdb::database(), job_id, "");
            return true;
        }))
        return "";
    if (!stored) {
        LOG(ERROR) << "TechnologyInfo: no stored job " << job_id;
        return "";
    }
    Job job;
    std::string error;
    if (!odb::read_job_archive(stored->archive, job, error)) {
        LOG(ERROR) << "TechnologyInfo: job " << job_id << " does not read: " << error;
        return "";
    }
    const jobdb::Technology t = jobdb::technology_of(job);
    Json::Value out(Json::objectValue);
    out["job_id"] = Json::Int64(stored->id);
    out["job"] = stored->name;
    out["revision"] = stored->revision;
    out["units"] = working_unit_is_inch() ? "inch" : "mm";
    out["step"] = t.step;
    out["layer_count"] = t.copper_layers;
    out["board_width"] = jobdb::working(t.board_width);
    out["board_height"] = jobdb::working(t.board_height);
    out["min_line"] = jobdb::working(t.min_line);
    out["min_space"] = jobdb::working(t.min_space);
    out["min_drill"] = jobdb::working(t.min_drill);
    out["surface_finish"] = t.surface_finish;
    Json::Value attributes(Json::objectValue);
    for (const auto& [key, value] : t.attributes) attributes[key] = value;
    out["attributes"] = attributes;
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    return Json::writeString(writer, out);
}

namespace DMS {
bool create_job(const std::string& job)
{
    if (!jobdb::signed_in("DMS_create_job")) return false;
    bool taken = true;
    if (!guarded("DMS_create_job", [&] {
            taken = db::job_id(jobdb::database(), job) > 0;
            return true;
        }))
        return false;
    if (taken) return jobdb::refuse("DMS_create_job: the database holds a job '" + job + "' already");
    if (!API::create_job(job)) return false;
    return InsetJobToDB(job);
}
} // namespace DMS

} // namespace API
} // namespace KESTO
