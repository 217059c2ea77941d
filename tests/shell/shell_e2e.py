#!/usr/bin/python3
"""End-to-end runs of raster-shell: against the real program on the simulated machine (virtual
clock) and against the stand-in program of tests/shell/standin. Each case runs in a scratch folder.
    shell_e2e.py CASE BUILD_DIR SOURCE_DIR"""
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

CASE, BUILD, TOP = sys.argv[1], os.path.abspath(sys.argv[2]), os.path.abspath(sys.argv[3])
SHELL = os.path.join(BUILD, "raster-shell")
STANDIN = os.path.join(TOP, "tests/shell/standin/raster-scan")
SCRATCH = tempfile.mkdtemp(prefix="shell-e2e-")
# The runs go to a store of the test's own, not to the one beside the shell.
ENV = dict(os.environ, RASTERSCAN_CLOCK="virtual", RASTERSCAN_PC="test-pc",
           RASTERSCAN_STORE="sqlite:" + os.path.join(SCRATCH, "store.sqlite"))
ENV.pop("RASTERSCAN_MACHINE", None)
failures = []


def check(condition, what):
    if not condition:
        failures.append(what)
        print("FAILED: " + what)


def write(name, text):
    path = os.path.join(SCRATCH, name)
    with open(path, "w") as f:
        f.write(text)
    return path


def shell(*args, env=None):
    return subprocess.run([SHELL, *args], cwd=SCRATCH, env=env or ENV, capture_output=True, text=True, timeout=600)


def results(run):
    with open(os.path.join(run, "results.json")) as f:
        return json.load(f)


def by_name(res):
    return {s["name"]: s for s in res["steps"]}


def junit(run):
    from junitparser import JUnitXml, Failure, Error, Skipped
    cases = {}
    for suite in JUnitXml.fromfile(os.path.join(run, "junit.xml")):
        for case in suite:
            kind = "passed"
            for r in case.result:
                kind = {Failure: "failure", Error: "error", Skipped: "skipped"}.get(type(r), kind)
            cases[case.name] = (kind, " ".join((r.message or "") for r in case.result))
    return cases


def common_outputs(run, proc, res):
    """What every run leaves: the report path last, and the three files telling the same steps."""
    lines = proc.stdout.rstrip("\n").split("\n")
    check(lines[-1] == os.path.join(run, "report.html"), "the report path is the last line: " + lines[-1])
    check(not re.search(r"[\x00-\x08\x0b-\x1f]", proc.stdout), "no control characters when not on a terminal")
    check(res["format"] == 1 and res["pc"] == "test-pc" and res["hardware"]["adapters"], "results.json head")
    for s in res["steps"]:
        check(s["verdict"] in ("passed", "failed", "stopped", "hung", "crashed", "machine_down", "not_run"),
              "verdict word " + s["verdict"])
        for p in s["screenshots"] + ([s["failed_picture"]] if s["failed_picture"] else []):
            check(os.path.isfile(os.path.join(run, p)), "picture exists: " + p)
    cases = junit(run)
    check(sorted(cases) == sorted(s["name"] for s in res["steps"]), "junit.xml has one test case per step")
    with open(os.path.join(run, "report.html")) as f:
        html = f.read()
    for s in res["steps"]:
        check('id="step-%d"' % s["index"] in html, "report.html has step " + s["name"])
    check(not os.path.exists(os.path.join(run, "journal.json.tmp")), "no temporary file left")
    return cases, html


def case_quick_pass():
    run = os.path.join(SCRATCH, "run")
    proc = shell(os.path.join(TOP, "suites/quick.ini"), "--out", run)
    check(proc.returncode == 0, "status 0 for a passing suite, got %d: %s" % (proc.returncode, proc.stderr))
    res = results(run)
    common_outputs(run, proc, res)
    check([s["verdict"] for s in res["steps"]] == ["passed"] * 3, "all steps passed")
    check(res["state"] == "finished" and res["ended_at"], "the run is finished")
    check(res["program_version"].startswith("3.17.0"), "program version " + res["program_version"])
    check(len(by_name(res)["verify-ModeTest"]["screenshots"]) > 0, "the verification has screenshots")
    check(all(v[0] == "passed" for v in junit(run).values()), "junit.xml: all passed")
    # The run is in the store as it ends, with the hardware the inventory read.
    history = shell("history")
    check(res["run_id"] in history.stdout and "Matrox G200eR2" in history.stdout,
          "history lists the run with its adapter: " + history.stdout + history.stderr)


def case_fault_translated():
    run = os.path.join(SCRATCH, "run")
    env = dict(ENV, RASTERSCAN_MACHINE=os.path.join(TOP, "machines/display-stuck-pixel.ini"))
    proc = shell(os.path.join(TOP, "suites/quick.ini"), "--out", run, env=env)
    check(proc.returncode == 1, "status 1 when a step fails")
    res = results(run)
    cases, html = common_outputs(run, proc, res)
    verify = by_name(res)["verify-ModeTest"]
    words = "did not match the calibration"
    check(verify["verdict"] == "failed" and verify["failure_codes"][:1] == [990408], "verify-ModeTest fails with 990408")
    check(words in verify["reason"], "results.json says why in words: " + verify["reason"])
    check(cases["verify-ModeTest"][0] == "failure" and words in cases["verify-ModeTest"][1], "junit.xml says why")
    check(words in html, "report.html says why")
    check(words in proc.stdout, "the terminal says why")
    check(verify["failed_picture"] and verify["failed_picture"] in html, "report.html shows the failed picture")
    check(by_name(res)["calibrate-ModeTest"]["machine"] is None, "calibration on the built-in machine")
    # The same in German where the shell's catalogue has it.
    run2 = os.path.join(SCRATCH, "run-de")
    shell(os.path.join(TOP, "suites/quick.ini"), "--out", run2, "--locale", "de_DE", env=env)
    check("stimmt nicht mit der Kalibrierung" in by_name(results(run2))["verify-ModeTest"]["reason"], "--locale de_DE")


def case_standin_verdicts():
    run = os.path.join(SCRATCH, "run")
    proc = shell(os.path.join(TOP, "tests/shell/standin/verdicts.ini"), "--program", STANDIN, "--out", run)
    check(proc.returncode == 1, "status 1 when steps do not pass")
    res = results(run)
    cases, _ = common_outputs(run, proc, res)
    want = {"pass": ("passed", False), "nothing-tested": ("passed", True), "fail": ("failed", False),
            "crash": ("crashed", False), "garbage": ("failed", False), "no-end": ("failed", False),
            "no-pass-line": ("failed", False), "over-time-stops": ("stopped", False),
            "over-time-hangs": ("hung", False), "last": ("passed", False)}
    got = {n: (s["verdict"], s["nothing_tested"]) for n, s in by_name(res).items()}
    check(got == want, "verdicts %s" % got)
    steps = by_name(res)
    check(steps["nothing-tested"]["warnings"] == 1, "the warning is counted")
    check("passed, nothing tested" in proc.stdout, "the terminal shows passed, nothing tested")
    check("not part of the protocol" in steps["garbage"]["reason"], "garbage has its reason")
    check(steps["crash"]["exit_status"] is None and steps["fail"]["exit_status"] == 1, "exit status recorded")
    check(cases["crash"][0] == "error" and cases["over-time-stops"][0] == "skipped", "junit kinds")
    check(not any(os.path.exists(os.path.join(run, s["folder"], "kill.ctl")) for s in res["steps"]),
          "no kill file is left behind")


def wait_for_running(run, index, proc, seconds=60):
    deadline = time.time() + seconds
    while time.time() < deadline:
        try:
            with open(os.path.join(run, "journal.json")) as f:
                if index in json.load(f)["running"]:
                    return True
        except (OSError, ValueError):
            pass
        if proc.poll() is not None:
            return False
        time.sleep(0.05)
    return False


def case_interrupt():
    """Ctrl+C while a LineTest window of the real program waits for its operator (real clock): the
    window sees the kill file at its next timer, the step stops, the rest are not run."""
    suite = write("stop.ini", "[suite]\nclock = virtual\n\n[calibrate]\nsubtest = ModeTest\n"
                  "arguments = -interactive=false -Calibrate=true -Mode640x480x8=true\n\n[verify]\nsubtest = LineTest\n"
                  "arguments = -Mode640x480x8=true\nfolder = s\nclock = real\noperator = wait 60000\n\n"
                  "[after]\nsubtest = VideoMemoryTest\n")
    run = os.path.join(SCRATCH, "run")
    proc = subprocess.Popen([SHELL, suite, "--out", run], cwd=SCRATCH, env=ENV, stdout=subprocess.PIPE, text=True)
    check(wait_for_running(run, 1, proc), "the verification started")
    time.sleep(1)
    proc.send_signal(signal.SIGINT)
    out, _ = proc.communicate(timeout=120)
    check(proc.returncode != 0, "a stopped run is no pass")
    res = results(run)
    steps = by_name(res)
    check(steps["calibrate"]["verdict"] == "passed", "the step before passed")
    check(steps["verify"]["verdict"] == "stopped", "the running step is stopped: " + steps["verify"]["verdict"])
    check(995000 in steps["verify"]["failure_codes"], "the program answered the stop with 995000")
    check(steps["after"]["verdict"] == "not_run" and steps["after"]["started_at"] is None, "the rest not run")
    check(res["state"] == "stopped", "the run is stopped")
    check(out.rstrip().split("\n")[-1] == os.path.join(run, "report.html"), "the report is still written")
    check(not os.path.exists(os.path.join(run, "shared/s/kill.ctl")), "the kill file is taken away")


def case_kill_and_resume():
    suite = write("resume.ini", "[first]\nsubtest = Pass\n\n[slow]\nsubtest = Pass\narguments = -Seconds=10\n\n"
                  "[third]\nsubtest = Pass\n")
    run = os.path.join(SCRATCH, "run")
    proc = subprocess.Popen([SHELL, suite, "--program", STANDIN, "--out", run], cwd=SCRATCH, env=ENV,
                            stdout=subprocess.DEVNULL)
    check(wait_for_running(run, 1, proc), "the slow step started")
    proc.send_signal(signal.SIGKILL)
    proc.wait()
    check(not os.path.exists(os.path.join(run, "results.json")) or results(run)["ended_at"] is None,
          "the run was cut")
    again = shell("--resume", run)
    check(again.returncode == 1, "a run with a step that went down is no pass")
    res = results(run)
    got = [s["verdict"] for s in res["steps"]]
    check(got == ["passed", "machine_down", "passed"], "verdicts after resume: %s" % got)
    check(res["state"] == "resumed" and res["ended_at"], "the run is resumed and ended")
    common_outputs(run, again, res)
    check("went down" in by_name(res)["slow"]["reason"], "the reason says the machine went down")


def case_refused_suite():
    suite = write("bad.ini", "[a]\nsubtest = ModeTest\narguments = -interactive=maybe -BPP=-1 -NoSuch=1\n\n"
                  "[b]\nsubtest = NoSuchTest\n\n[c]\nsubtest = VideoPowerManagementTest\n"
                  "arguments = -Retries=11 -SleepType=standby\n")
    run = os.path.join(SCRATCH, "run")
    proc = shell(suite, "--out", run)
    errors = [l for l in proc.stderr.split("\n") if l.startswith("error: ")]
    check(proc.returncode == 2, "status 2 for a refused suite")
    check(len(errors) == 6, "one line per mistake, and the refusal: %s" % errors)
    for word in ("-interactive=maybe", "-BPP=-1", "-NoSuch", "NoSuchTest", "-Retries=11"):
        check(any(word in e for e in errors), "the mistake is named: " + word)
    check(not os.path.exists(run), "nothing was run")
    # The suites that ship hold only what the program knows.
    for name in ("main", "quick", "faults"):
        shipped = shell(os.path.join(TOP, "suites", name + ".ini"), "--check")
        check(shipped.returncode == 0, "suites/%s.ini: %s" % (name, shipped.stderr))
    listing = shell("--list")
    check(listing.returncode == 0 and "ModeTest" in listing.stdout and "GPUTest" in listing.stdout, "--list")
    args = shell("--list", "VideoPowerManagementTest")
    check(re.search(r"-Retries\s+integer.*between 1 and 10", args.stdout) is not None, "--list SUBTEST: " + args.stdout)


def case_report_in_browser():
    """The report of a failed run opened offline in headless Chromium: every step and picture is there."""
    run = os.path.join(SCRATCH, "run")
    env = dict(ENV, RASTERSCAN_MACHINE=os.path.join(TOP, "machines/display-stuck-pixel.ini"))
    shell(os.path.join(TOP, "suites/quick.ini"), "--out", run, env=env)
    res = results(run)
    chromium = shutil.which("chromium") or shutil.which("chromium-browser")
    if not chromium:
        print("SKIP: no chromium")
        sys.exit(77)
    base = [chromium, "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
            "--disable-background-networking", "--disable-component-update", "--disable-sync",
            "--user-data-dir=" + tempfile.mkdtemp(dir=SCRATCH)]
    url = "file://" + os.path.join(run, "report.html")
    dom = subprocess.run(base + ["--dump-dom", url], capture_output=True, text=True, timeout=120).stdout
    check("<section" in dom and "</html>" in dom, "chromium loaded the page")
    sections = re.findall(r'<section class="step" id="step-(\d+)" data-verdict="(\w+)"', dom)
    check([(int(i), v) for i, v in sections] == [(s["index"], s["verdict"]) for s in res["steps"]],
          "every step is on the page with its verdict: %s" % sections)
    pictures = set(re.findall(r'(?:src|href)="([^"#]+)"', dom))
    check(len(pictures) >= 3, "the page links pictures")
    for p in pictures:
        check(not p.startswith("http") and os.path.isfile(os.path.join(run, p)), "linked file exists: " + p)
    shot = os.path.join(SCRATCH, "report.png")
    subprocess.run(base + ["--screenshot=" + shot, "--window-size=1280,2000", url], capture_output=True, timeout=120)
    check(os.path.isfile(shot) and os.path.getsize(shot) > 10000, "chromium made a screenshot of the page")


try:
    globals()["case_" + CASE]()
finally:
    shutil.rmtree(SCRATCH, ignore_errors=True)
if failures:
    sys.exit(1)
print("ok: " + CASE)
