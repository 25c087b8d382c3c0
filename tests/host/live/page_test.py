"""The page of a live test in a real browser: a test from its start to its report, with a lead and the server lost on the way.

Usage: page_test.py QZSTRESS [FOLDER_FOR_PICTURES]. Skipped without Chromium and Selenium as Debian has them.
"""
import json
import os
import signal
import subprocess
import sys
import tempfile
import time

if sys.executable != "/usr/bin/python3" and os.path.exists("/usr/bin/python3"):
    os.execv("/usr/bin/python3", ["/usr/bin/python3", "-B", *sys.argv])  # Debian's packages belong to Debian's Python
try:
    from selenium import webdriver
    from selenium.common.exceptions import WebDriverException
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.action_chains import ActionChains
    from selenium.webdriver.common.by import By
    from selenium.webdriver.common.keys import Keys
except ImportError:
    sys.exit(print("skipped: python3-selenium is not installed") or 77)
if not os.path.exists("/usr/bin/chromedriver") or not os.path.exists("/usr/bin/chromium"):
    sys.exit(print("skipped: chromium and chromium-driver are not installed") or 77)

program = sys.argv[1]
pictures = sys.argv[2] if len(sys.argv) > 2 else None
SPEED = 10
work = tempfile.TemporaryDirectory()
record, folder = work.name + "/patient", work.name + "/kept"
# A patient at rest for two minutes, in the second of which V2 falls off; in sinus rhythm, whose rate the truth tells.
subprocess.run([program, "simulate", record, "--seconds", "3000", "--lead-off", "V2:75:12", "--ectopy", "0"], check=True)
with open(record + ".truth.json") as file:
    truth = json.load(file)


def start(port, resumes):
    words = [program, "monitor", record, "--speed", str(SPEED), "--port", str(port), "--out", folder, "--protocol", "bicycle", "--lowpass", "45"]
    process = subprocess.Popen(words + ["--resume"] * resumes, stdout=subprocess.PIPE, text=True)
    process.stdout.readline()
    return process, process.stdout.readline().split()[1]


options = webdriver.ChromeOptions()
options.binary_location = "/usr/bin/chromium"
for argument in ["--headless=new", "--no-sandbox", "--disable-gpu", "--hide-scrollbars", "--lang=en", "--disable-dev-shm-usage"]:
    options.add_argument(argument)
options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
browser = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
monitor = None


def find(name):
    return browser.find_element(By.ID, name)


def state(path="state()"):
    return browser.execute_script(f"return window.qzstress && qzstress.{path}")


def wait(condition, what, seconds=60):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        try:
            if condition():
                return
        except (TypeError, KeyError, IndexError, WebDriverException):  # the page has not been told yet
            pass
        time.sleep(0.05)
    raise AssertionError(f"{what} did not come within {seconds} s: {state()}")


def picture(name, width=1280, height=800):
    if not pictures:
        return
    show(width, height)
    time.sleep(0.5)
    browser.save_screenshot(f"{pictures}/{name}.png")
    show(1280, 800)


def show(width, height):
    browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})


def fetched(address):
    """The first five letters of a file."""
    return browser.execute_async_script(
        "const [address, done] = arguments; fetch(address).then((answer) => answer.text()).then((text) => done(text.slice(0, 5)));", address)


def course_at(seconds):
    return min(truth["course"], key=lambda row: abs(row["time_s"] - seconds))


def check_truth():
    """Heart rate within 2/min and ST of every lead within 25 uV of what the patient has."""
    now = state()
    true = course_at(now["s"])
    assert abs(now["bpm"] - true["heart_rate_per_min"]) <= 2, (now["bpm"], true)
    for name, lead, level in zip(truth["record"]["leads"], now["leads"], true["level_uv"]):
        assert lead["st"] is not None and abs(lead["st"] - level) <= 25, (now["s"], name, lead, level)


try:
    show(1280, 800)
    monitor, url = start(0, False)
    browser.get(url)
    wait(lambda: state()["learned"] and all(lead["st"] is not None for lead in state()["leads"]), "ST values")
    wait(lambda: state()["s"] > 40, "40 s")
    check_truth()
    wait(lambda: -5 < state("delayMs()") < 1000, "a short delay")  # clocks are read in whole milliseconds
    picture("1-rest")

    # A lead falls off, and its alarm stays until it is acknowledged, with the keyboard.
    wait(lambda: browser.find_element(By.CSS_SELECTOR, ".alarm[data-kind=lead-off]"), "the alarm of V2")
    assert "V2" in browser.find_element(By.CSS_SELECTOR, ".alarm[data-kind=lead-off]").text
    picture("2-lead-off", 1024, 768)
    browser.find_element(By.CSS_SELECTOR, ".alarm[data-kind=lead-off] button").send_keys(Keys.ENTER)
    wait(lambda: not browser.find_elements(By.CSS_SELECTOR, ".alarm[data-kind=lead-off]"), "its end")

    # The exercise, a pressure, a symptom.
    find("start").send_keys(Keys.ENTER)
    wait(lambda: state()["stages"][-1]["power"] == "25 W" or state()["stages"][-1]["name"] == "25 W", "the first stage")
    find("systolic").send_keys("150")
    find("diastolic").send_keys("85" + Keys.ENTER)
    wait(lambda: state()["pressures"][-1]["systolic"] == 150, "the pressure")
    find("note-text").send_keys("Chest pain" + Keys.ENTER)
    find("next").send_keys(Keys.ENTER)
    wait(lambda: len(state()["stages"]) >= 3, "the next stage")

    # Q, J and the ST point are dragged on the averaged beat, and moved by keys.
    browser.find_element(By.CSS_SELECTOR, "[data-lead=V5]").click()
    beat, beats = find("beat"), state("beats()")
    width = beat.size["width"]
    x_of = lambda ms: ms * beats["fs"] / 1000 / len(beats["uV"][0]) * width

    def drag(from_ms, to_ms):
        steps = ActionChains(browser, duration=50)
        steps.move_to_element_with_offset(beat, int(x_of(from_ms) - width / 2), 20).click_and_hold()
        steps.move_to_element_with_offset(beat, int(x_of(to_ms) - width / 2), 20).release().perform()

    def by_hand(point, ms):
        """Within 4 ms: a pixel is 1 ms."""
        wait(lambda: abs(state()["by_hand"][point] - ms) <= 4, f"point {point} at {ms} ms by hand")

    v5 = truth["record"]["leads"].index("V5")
    drag(beats["st_ms"], beats["j_ms"] + 120)
    by_hand(2, 120)
    wait(lambda: abs(state()["st_point_ms"] - 120) <= 4, "the dragged ST point")
    wait(lambda: abs(state("beats()")["st_ms"] - beats["j_ms"] - 120) <= 8, "its line")
    find("st-own").click()
    wait(lambda: state()["st_point_ms"] in (60, 80) and state()["by_hand"] == [None] * 3, "the monitor's own points")
    own = state()["leads"][v5]["j"]
    drag(beats["q_ms"], beats["r_ms"] - 70)
    by_hand(0, -70)
    drag(beats["j_ms"], beats["r_ms"] + 66)
    by_hand(1, 66)
    wait(lambda: state()["leads"][v5]["j"] != own, "J measured there")
    j_ms = state()["by_hand"][1] + 2
    find("j-point").send_keys(Keys.ARROW_RIGHT)
    wait(lambda: state()["by_hand"][1] == j_ms, "J moved by a key")
    picture("3-beat")
    find("beat-dialog").send_keys(Keys.ESCAPE)

    # The display stands still and goes back, and the test goes on.
    find("paper").send_keys(Keys.SPACE)
    wait(lambda: state("frozen() && qzstress.frozen().stretch !== qzstress.live()"), "the kept signal")
    before = state("frozen().end")
    find("paper").send_keys(Keys.PAGE_UP)
    wait(lambda: state("frozen().end") < before and state("frozen().stretch.end") == state("frozen().end"), "the signal before")
    ActionChains(browser, duration=50).move_to_element(find("paper")).click_and_hold().move_by_offset(95, 30).release().perform()
    assert "ms" in find("calipers").text, find("calipers").text
    find("measure").click()
    assert find("calipers").text == ""
    find("paper").send_keys("m")
    assert find("calipers").text == "200 ms, 0.50 mV, 300/min", find("calipers").text
    find("paper").send_keys(Keys.ARROW_RIGHT * 3, Keys.ARROW_UP * 2, Keys.ENTER, Keys.ARROW_LEFT * 2)
    assert find("calipers").text == "250 ms, 0.60 mV, 240/min", find("calipers").text
    picture("4-frozen")

    # What is shown, as a page.
    find("strip").click()
    wait(lambda: browser.find_element(By.CSS_SELECTOR, "#strip-link a"), "the strip")
    assert fetched(browser.find_element(By.CSS_SELECTOR, "#strip-link a").get_attribute("href")) == "%PDF-"
    find("freeze").click()

    # The monitor is killed and goes on: the page comes back by itself, with the gap told.
    port, at = int(url.split(":")[2].split("/")[0]), state()["s"]
    monitor.send_signal(signal.SIGKILL)
    monitor.wait()
    wait(lambda: "bad" in find("link").get_attribute("class"), "word of the lost connection")
    find("systolic").send_keys("160")
    find("diastolic").send_keys("90" + Keys.ENTER)
    assert find("systolic").get_attribute("value") == "160" and find("answer").text == find("link").text, "a pressure is lost"
    monitor, url = start(port, True)
    wait(lambda: state()["gaps"] == 1 and state()["s"] > at + 5, "the page's return")
    assert state()["pressures"][-1]["systolic"] == 150 and len(state()["stages"]) >= 3
    assert state()["by_hand"][1] == j_ms

    # German, dark, on a tablet.
    find("language").click()
    find("theme").click()
    assert find("recovery").text == "Erholung"
    picture("5-tablet", 768, 1024)
    find("recovery").send_keys(Keys.ENTER)
    wait(lambda: state()["recovery"], "the recovery")

    # The end, and the report.
    find("end").send_keys(Keys.ENTER)
    find("end-reason").send_keys("fatigue")
    browser.find_element(By.CSS_SELECTOR, "#end-dialog button[value=end]").click()
    wait(lambda: browser.find_elements(By.CSS_SELECTOR, "#result-links a"), "the results")
    picture("6-ended")
    assert fetched("/results/report.pdf") == "%PDF-"
    with open(folder + "/results/result.json") as file:
        result = json.load(file)
    assert f"J {j_ms} ms after R" in result["st_point"], result["st_point"]
    assert result["patient"]["ended"] == "fatigue" and "Chest pain" in result["patient"]["symptoms"]

    # The finished test, as a whole, then closer, then where its gap is.
    monitor.send_signal(signal.SIGTERM)
    monitor.wait(30)
    monitor = subprocess.Popen([program, "view", folder, "--port", "0"], stdout=subprocess.PIPE, text=True)
    monitor.stdout.readline()
    browser.get(monitor.stdout.readline().split()[1])
    wait(lambda: state()["ended"] and state("frozen().stretch.framesPerColumn") > 0, "the overview")
    fs = truth["record"]["sampling_rate_hz"]
    whole, column = (state(f"frozen().stretch.{name}") / fs for name in ("length", "framesPerColumn"))
    assert abs(whole - state()["s"]) <= column + 0.1, (whole, column, state()["s"])
    assert "low-pass 45 Hz" in state()["conditioning"], "another analysis than in the test"
    picture("7-recording")
    while find("zoom").get_attribute("value") != "60":
        find("paper").send_keys("+")
    wait(lambda: state("frozen().stretch.length") < 70 * fs, "a minute")
    find("to-gap").click()
    wait(lambda: state("frozen().stretch.framesPerColumn") == 0, "the signal")
    assert browser.execute_script("return qzstress.frozen().stretch.raw[0].some(Number.isNaN)"), "no gap is shown"
    complaints = [entry for entry in browser.get_log("browser") if "WebSocket" not in entry["message"]]
    assert not complaints, complaints
finally:
    browser.quit()
    if monitor:
        monitor.send_signal(signal.SIGTERM)
        monitor.wait(30)
print("ok")
