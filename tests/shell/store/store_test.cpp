#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>

#include "RunRecord.h"
#include "Schema.h"
#include "StoreCommands.h"
#include "store_support.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using namespace storetest;

const char* const HostilePc = "x'); DROP TABLE runs; --";

// The object as the shell has it after `done` steps.
json After(const json& run, size_t done) {
  json partial = run;
  partial["ended_at"] = nullptr;
  partial["state"] = "running";
  for (size_t i = done; i < partial["steps"].size(); ++i) {
    partial["steps"][i]["verdict"] = "not_run";
    partial["steps"][i]["failed_picture"] = nullptr;
  }
  // The next step has started: no verdict yet.
  if (done < partial["steps"].size()) partial["steps"][done]["verdict"] = nullptr;
  return partial;
}

json WithId(json run, const std::string& id, const std::string& pc = "") {
  run["run_id"] = id;
  if (!pc.empty()) run["pc"] = pc;
  return run;
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

class Scratch {
 public:
  Scratch() {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(info->test_suite_name()) + "_" + info->name();
    for (char& c : name) c = std::isalnum(static_cast<unsigned char>(c)) ? static_cast<char>(std::tolower(c)) : '_';
    database = "t_" + name.substr(name.size() > 50 ? name.size() - 50 : 0);
    root = fs::temp_directory_path() / ("rs-store-" + database);
    fs::remove_all(root);
    fs::create_directories(root);
  }
  ~Scratch() { fs::remove_all(root); }
  fs::path root;
  std::string database;
};

// Feeds a run through the observer as the shell would: after each step, then at its end.
void Feed(RunObserver& observer, const json& run, size_t steps = 99, bool end = true) {
  size_t count = std::min(steps, run["steps"].size());
  for (size_t done = 1; done <= count; ++done) observer.StepEnded(After(run, done));
  if (end) observer.RunEnded(run);
}

// Each case on both kinds of store.
class StoreTest : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    options.runsRoot = scratch.root.string();
    options.runFolder = FixtureFolder("stuck-pixel");
    options.url = GetParam() ? Server().FreshDatabase(scratch.database) : "sqlite:" + (scratch.root / "depot.sqlite").string();
  }
  std::unique_ptr<store::Connection> Open() {
    return GetParam() ? store::OpenPostgres(options.url) : store::OpenSqlite(options.url.substr(7));
  }
  Scratch scratch;
  store::StoreOptions options;
};

INSTANTIATE_TEST_SUITE_P(Stores, StoreTest, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool>& p) { return p.param ? "PostgreSQL" : "SQLite"; });

TEST_P(StoreTest, RecordsEachStepOnceAndTheRunWhenItEnds) {
  json run = Fixture("stuck-pixel");
  auto observer = MakeStoreObserver(options);
  ::testing::internal::CaptureStderr();
  Feed(*observer, run, 5, false);
  auto db = Open();
  EXPECT_EQ(Count(*db, "SELECT COUNT(*) FROM steps"), 5);
  EXPECT_EQ(Count(*db, "SELECT COUNT(*) FROM run_ends"), 0);
  Feed(*observer, run);
  Feed(*observer, run);  // again: adds nothing
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(Count(*db, "SELECT COUNT(*) FROM runs"), 1);
  EXPECT_EQ(Count(*db, "SELECT COUNT(*) FROM steps"), 18);
  EXPECT_EQ(Count(*db, "SELECT failures FROM run_ends"), 3);
  store::Rows failed = db->Query(
      "SELECT pc, adapter, driver_version, subtest, reason FROM step_results WHERE verdict = 'failed' ORDER BY subtest");
  ASSERT_EQ(failed.size(), 3u);
  EXPECT_EQ(*failed[0][0], "depot-line-3");
  EXPECT_EQ(*failed[0][1], "Lumora GX 7300");
  EXPECT_EQ(*failed[0][2], "8.15.10.2900");
  EXPECT_EQ(*failed[0][3], "BltTest");
  EXPECT_EQ(*failed[0][4], "The rendered picture failed the checksum verification against the calibration file.");
  store::Rows picture = db->Query("SELECT name, bytes FROM failed_pictures WHERE ordinal = 6");
  ASSERT_EQ(picture.size(), 1u);
  EXPECT_EQ(*picture[0][1], ReadFile(FixtureFolder("stuck-pixel") + "/" + *picture[0][0]));
}

TEST_P(StoreTest, AHostilePcNameIsStoredAsItIs) {
  auto observer = MakeStoreObserver(options);
  Feed(*observer, WithId(Fixture("good"), "hostile-1", HostilePc));
  auto db = Open();
  store::Rows pcs = db->Query("SELECT DISTINCT pc FROM step_results");
  ASSERT_EQ(pcs.size(), 1u);
  EXPECT_EQ(*pcs[0][0], HostilePc);
  EXPECT_EQ(Count(*db, "SELECT COUNT(*) FROM runs"), 1);
}

TEST_P(StoreTest, AnOlderStoreIsMigratedWithItsRunsKept) {
  {
    auto db = Open();
    store::Migrate(*db, 1);
    db->Exec("INSERT INTO runs (run_id, pc, started_at, adapter) VALUES ('old', 'pc-1', '2026-01-02T10:00:00Z', 'Old GX')");
    db->Exec("INSERT INTO steps (run_id, ordinal, subtest, verdict, reason) VALUES ('old', 0, 'ModeTest', 'failed', 'gone')");
  }
  auto observer = MakeStoreObserver(options);
  Feed(*observer, Fixture("stuck-pixel"));
  auto db = Open();
  EXPECT_EQ(store::SchemaVersion(*db), store::LatestSchemaVersion);
  EXPECT_EQ(Count(*db, "SELECT COUNT(*) FROM step_results WHERE run_id = 'old' AND reason = 'gone' AND adapter = 'Old GX'"), 1);
  EXPECT_EQ(Count(*db, "SELECT nothing_tested + warnings + errors FROM steps WHERE run_id = 'old'"), 0);
  EXPECT_EQ(Count(*db, "SELECT COUNT(*) FROM failed_pictures"), 3);
}

class DepotTest : public ::testing::Test {
 protected:
  void SetUp() override {
    url = Server().FreshDatabase(scratch.database);
    options.runsRoot = scratch.root.string();
    options.url = url;
    options.runFolder = FixtureFolder("stuck-pixel");
  }
  void TearDown() override { Server().Start(); }  // whatever a case did to it
  Scratch scratch;
  std::string url;
  store::StoreOptions options;
};

TEST_F(DepotTest, ARunMadeWhileTheServerIsDownArrivesOnceWhenItIsBack) {
  json first = WithId(Fixture("stuck-pixel"), "while-down");
  auto observer = MakeStoreObserver(options);
  Feed(*observer, first, 6, false);
  Server().Stop();
  ::testing::internal::CaptureStderr();
  Feed(*observer, first);  // the rest of the run, the server gone
  std::string warnings = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(warnings.find("warning: results store: postgresql://postgres@127.0.0.1:"), std::string::npos) << warnings;
  EXPECT_EQ(std::count(warnings.begin(), warnings.end(), '\n'), 1) << warnings;
  Server().Start();
  {
    auto db = store::OpenPostgres(url);
    EXPECT_EQ(Count(*db, "SELECT COUNT(*) FROM steps"), 6);
  }
  // The next run sends what waited.
  auto next = MakeStoreObserver(options);
  Feed(*next, WithId(Fixture("good"), "after"));
  auto db = store::OpenPostgres(url);
  EXPECT_EQ(Count(*db, "SELECT COUNT(*) FROM steps WHERE run_id = 'while-down'"), 18);
  EXPECT_EQ(Count(*db, "SELECT COUNT(*) FROM run_ends"), 2);
  EXPECT_EQ(Count(*db, "SELECT COUNT(*) FROM failed_pictures"), 3);
  store::Store local(options);
  EXPECT_EQ(Count(local.Local(), "SELECT COUNT(*) FROM outbox"), 0);
  EXPECT_EQ(local.Sync(), 0);
}

TEST_F(DepotTest, AServerLostInTheMiddleOfASendLosesAndDuplicatesNothing) {
  const int runs = 400;
  store::Store depot(options);
  json base = Fixture("good");
  std::vector<std::string> problems;
  for (int i = 0; i < runs; ++i) {
    store::RunRecord record = store::FromResults(WithId(base, "r" + std::to_string(i), "pc-" + std::to_string(i % 7)),
                                                 "", true, problems);
    store::Write(depot.Local(), record);
    depot.Local().Exec("INSERT INTO outbox (run_id, ended) VALUES ($1, 1)", {record.runId});
  }
  std::atomic<bool> lost{false}, done{false};
  std::thread sender([&] {
    try {
      depot.Sync();
    } catch (const store::StoreUnreachable&) {
      lost = true;
    }
    done = true;
  });
  auto watcher = store::OpenPostgres(url);
  for (long long sent = 0; sent < 20 && !done; std::this_thread::sleep_for(std::chrono::milliseconds(5))) {
    try {
      sent = Count(*watcher, "SELECT COUNT(*) FROM run_ends");
    } catch (const store::StoreError&) {
      // Not migrated yet.
    }
  }
  watcher.reset();
  Server().Stop();
  sender.join();
  EXPECT_TRUE(lost) << "the send ended before the server went away: nothing was tested";
  Server().Start();
  EXPECT_GT(depot.Sync(), 0);
  auto db = store::OpenPostgres(url);
  EXPECT_EQ(Count(*db, "SELECT COUNT(*) FROM runs"), runs);
  EXPECT_EQ(Count(*db, "SELECT COUNT(*) FROM run_ends"), runs);
  EXPECT_EQ(Count(*db, "SELECT COUNT(*) FROM steps"), runs * 18);
  EXPECT_EQ(Count(depot.Local(), "SELECT COUNT(*) FROM outbox"), 0);
}

TEST_F(DepotTest, SixteenShellsWriteAtOnce) {
  const int shells = 16, runsEach = 4;
  ::testing::internal::CaptureStderr();
  std::vector<std::thread> threads;
  for (int s = 0; s < shells; ++s) {
    threads.emplace_back([&, s] {
      store::StoreOptions own = options;
      own.runsRoot = (scratch.root / ("pc" + std::to_string(s))).string();
      for (int r = 0; r < runsEach; ++r) {
        auto observer = MakeStoreObserver(own);
        Feed(*observer, WithId(Fixture(r % 2 ? "good" : "stuck-pixel"), std::to_string(s) + "-" + std::to_string(r),
                               "pc-" + std::to_string(s)));
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  auto db = store::OpenPostgres(url);
  EXPECT_EQ(Count(*db, "SELECT COUNT(*) FROM runs"), shells * runsEach);
  EXPECT_EQ(Count(*db, "SELECT COUNT(DISTINCT pc) FROM step_results"), shells);
  EXPECT_EQ(Count(*db, "SELECT COUNT(*) FROM steps"), shells * runsEach * 18);
  EXPECT_EQ(Count(*db, "SELECT COUNT(*) FROM failed_pictures"), shells * runsEach / 2 * 3);
}

TEST_F(DepotTest, AWriterMayOnlyAddAndAReaderOnlyRead) {
  {
    auto admin = store::OpenPostgres(url);
    store::Migrate(*admin);
    for (const char* role : {"depot_pc", "depot_viewer"}) {
      admin->Exec(std::string("DROP ROLE IF EXISTS ") + role);
    }
    admin->Exec("CREATE ROLE depot_pc LOGIN PASSWORD '" + Server().Password() + "' IN ROLE rasterscan_writer");
    admin->Exec("CREATE ROLE depot_viewer LOGIN PASSWORD '" + Server().Password() + "' IN ROLE rasterscan_reader");
  }
  store::StoreOptions writer = options;
  writer.url = Server().UrlAs(scratch.database, "depot_pc");
  ::testing::internal::CaptureStderr();
  Feed(*MakeStoreObserver(writer), Fixture("stuck-pixel"));
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");

  auto asWriter = store::OpenPostgres(writer.url);
  for (const char* sql : {"SELECT COUNT(*) FROM runs", "SELECT COUNT(*) FROM step_results", "SELECT COUNT(*) FROM failed_pictures",
                          "UPDATE steps SET verdict = 'passed'", "DELETE FROM runs", "TRUNCATE steps", "DROP TABLE runs",
                          "CREATE TABLE mine (x int)"}) {
    EXPECT_THROW(asWriter->Exec(sql), store::StoreError) << sql;
  }
  auto asReader = store::OpenPostgres(Server().UrlAs(scratch.database, "depot_viewer"));
  EXPECT_EQ(Count(*asReader, "SELECT COUNT(*) FROM step_results WHERE verdict = 'failed'"), 3);
  for (const char* sql : {"INSERT INTO runs (run_id, pc) VALUES ('forged', 'pc')", "DELETE FROM steps",
                          "UPDATE runs SET pc = 'x'"}) {
    EXPECT_THROW(asReader->Exec(sql), store::StoreError) << sql;
  }
}

TEST(StoreUrl, PasswordsAreRefusedAndNeverShown) {
  struct Case {
    const char* url;
    bool accepted;
    const char* redacted;
  } cases[] = {
      {"sqlite:build/runs/store.sqlite", true, "sqlite:build/runs/store.sqlite"},
      {"postgresql://depot_pc@db.depot:5432/rasterscan", true, "postgresql://depot_pc@db.depot:5432/rasterscan"},
      {"postgresql:///rasterscan?service=depot", true, "postgresql:///rasterscan?service=depot"},
      {"postgresql://pc:s3cret@db/rasterscan", false, "postgresql://pc:***@db/rasterscan"},
      {"postgres://db/rasterscan?sslmode=require&password=s3cret", false, "postgres://db/rasterscan?sslmode=require&password=***"},
      {"mysql://db/rasterscan", false, "mysql://db/rasterscan"},
      {"sqlite:", false, "sqlite:"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(store::RedactUrl(c.url), c.redacted);
    if (c.accepted) {
      EXPECT_NO_THROW(store::ParseStoreUrl(c.url)) << c.url;
      continue;
    }
    try {
      store::ParseStoreUrl(c.url);
      ADD_FAILURE() << c.url;
    } catch (const store::StoreError& e) {
      EXPECT_EQ(std::string(e.what()).find("s3cret"), std::string::npos) << e.what();
    }
  }
}

}  // namespace
