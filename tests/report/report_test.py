#!/usr/bin/env python3
"""Checks the page of `clipchain sequences --html` in headless Chromium: what the browser makes of it
says what `--json` says, and nobody needs good eyes, a mouse, colours or a script to read it.

    report_test.py CLIPCHAIN
"""
import base64
import hashlib
import json
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import zlib
from html.parser import HTMLParser
from pathlib import Path

import cards

SKIPPED = 77
TOOL = sys.argv[1]
VOID = {"meta", "img", "link", "br", "input"}
NAMES = [
    b"<script>document.title='owned'</script>.mp4",
    b"\"><img src=x onerror=document.title='owned'>.mp4",
    b"caf\xe9 \xff\n.mp4",
    "käse – ‮4pm.exe.mp4".encode(),
    b"a&amp;b'c.mp4",
]


def require(condition, complaint):
    if not condition:
        sys.exit(complaint)


class Page(HTMLParser):
    """The elements of a page: (tag, attributes, text), in document order, without what is in them."""

    def __init__(self, text):
        super().__init__()
        self.elements = []
        self.open = []
        self.feed(text)

    def handle_starttag(self, tag, attrs):
        element = {"tag": tag, "attrs": dict(attrs), "text": "", "above": [e["tag"] for e in self.open]}
        self.elements.append(element)
        if tag not in VOID:
            self.open.append(element)

    def handle_startendtag(self, tag, attrs):
        self.handle_starttag(tag, attrs)
        if tag not in VOID:
            self.open.pop()

    def handle_endtag(self, tag):
        if tag in VOID:
            return
        require(self.open and self.open[-1]["tag"] == tag, f"</{tag}> does not close what is open")
        self.open.pop()

    def handle_data(self, data):
        for element in self.open:
            element["text"] += data

    def of_class(self, name):
        return [e for e in self.elements if name in (e["attrs"].get("class") or "").split()]

    def tagged(self, *tags):
        return [e for e in self.elements if e["tag"] in tags]


def make_cards(folder):
    """Two cards and a file: a recording over both, ones with missing parts, hostile names, damage."""
    picture = cards.thumbnail()
    first, second = folder / "card 1", folder / "<b>card & 2"
    first.mkdir()
    second.mkdir()
    for number in (1, 2, 3):
        place = (first, second)[number % 2]
        image = cards.dated(picture, f"2024:05:06 07:{number:02}:09")
        clip = cards.clip(number, number - 1, (number + 1) % 4, 59.96, image)
        (place / f"C{number}.MP4").write_bytes(clip)
    (first / "lost ends.mp4").write_bytes(cards.clip(11, 10, 12, 1.5, picture[:-1]))
    (first / "no length.mp4").write_bytes(cards.clip(21, 0, 22, None, None))
    (first / "notes.mp4").write_text("These are notes about a clip.\n", encoding="utf-8")
    (second / "empty.mp4").touch()
    for number, name in enumerate(NAMES):
        path = os.fsencode(second) + b"/" + name.replace(b"/", b"_")
        with open(path, "wb") as file:
            file.write(cards.clip(100 + 2 * number, 0, 0, number + 0.25, picture))
    alone = folder / "alone.mp4"
    alone.write_bytes(cards.clip(31, 0, 32, 3600, picture))
    absent = folder / "absent <i>.mp4"
    absent.symlink_to("nowhere")
    return [first, second, alone, absent]


def run_tool(operands, page, *options):
    command = [TOOL, "sequences", "--json", "--html", page, *options, *operands]
    done = subprocess.run(command, capture_output=True, check=False)
    require(done.returncode == 3, f"{command} ended with {done.returncode}: {done.stderr.decode()}")
    return json.loads(done.stdout)


def chromium(folder, page, *options):
    """What the browser prints."""
    command = ["chromium", "--headless=new", "--no-sandbox", "--disable-gpu", "--no-first-run",
               f"--user-data-dir={folder / 'profile'}", "--virtual-time-budget=5000", *options,
               page.as_uri()]
    done = subprocess.run(command, capture_output=True, check=False, timeout=120)
    require(done.returncode == 0, f"{command} ended with {done.returncode}: {done.stderr.decode()}")
    return done.stdout.decode("utf-8")


def value(text):
    return None if text == "" else text


def number(text):
    return None if text == "" else float(text)


def path_of(attrs):
    return {key: attrs[f"data-{key.replace('_', '-')}"] for key in ("path", "path_bytes")
            if f"data-{key.replace('_', '-')}" in attrs}


def path_in(entry):
    """The path as the page has it. Where it is no text the bytes say all."""
    bytes_ = entry.get("path_bytes")
    return {"path_bytes": bytes_} if bytes_ else {"path": entry["path"] or ""}


def same_path(attrs, entry):
    found = path_of(attrs)
    wanted = path_in(entry)
    return all(found.get(key) == wanted[key] for key in wanted) and ("path_bytes" in found) == (
        "path_bytes" in wanted)


def check_sequence(element, clips, entry):
    attrs = element["attrs"]
    told = {
        "number": int(attrs["data-number"]),
        "date": value(attrs["data-date"]),
        "clips": int(attrs["data-clips"]),
        "seconds": number(attrs["data-seconds"]),
        "state": attrs["data-state"],
        "closed_at_head": attrs["data-closed-at-head"] == "true",
        "closed_at_tail": attrs["data-closed-at-tail"] == "true",
        "camera_stream": attrs["data-camera-stream"] == "true",
        "head_id": value(attrs["data-head-id"]),
        "tail_id": value(attrs["data-tail-id"]),
        "volumes": [int(word) for word in attrs["data-volumes"].split()],
        "copy_of": number(attrs["data-copy-of"]),
    }
    wanted = {key: entry[key] for key in entry if key != "files"}
    require(told == wanted, f"the page says {told}, not {wanted}")
    require(wanted["state"] in element["text"], "a person is not told the state")
    require(len(clips) == len(entry["files"]), "a sequence has other clips")
    for clip, file in zip(clips, entry["files"]):
        attrs = clip["attrs"]
        require(same_path(attrs, file), f"{path_of(attrs)} is not {file}")
        told = (int(attrs["data-volume"]), value(attrs["data-date"]), number(attrs["data-seconds"]),
                int(attrs["data-size"]))
        require(told == (file["volume"], file["date"], file["seconds"], file["size"]), f"{told} is not {file}")
        require(f"Card {file['volume']}" in clip["text"], "a person is not told the card")


def check_says_what_json_says(page, document):
    volumes = page.of_class("volume")
    require(len(volumes) == len(document["volumes"]), "the page has other volumes")
    for element, entry in zip(volumes, document["volumes"]):
        attrs = element["attrs"]
        require(same_path(attrs, entry), f"{path_of(attrs)} is not {entry}")
        require(int(attrs["data-number"]) == entry["number"] and int(attrs["data-clips"]) == entry["clips"],
                f"{attrs} is not {entry}")
    sequences = page.of_class("sequence")
    require(len(sequences) == len(document["sequences"]), "the page has other sequences")
    clips = iter(page.of_class("clip"))
    for element, entry in zip(sequences, document["sequences"]):
        check_sequence(element, [next(clips) for _ in entry["files"]], entry)
    require(next(clips, None) is None, "the page has more clips")
    missing = sum((not s["closed_at_head"]) + (not s["closed_at_tail"]) for s in document["sequences"])
    require(missing >= 4 and len(page.of_class("missing")) == missing, "open ends are not all drawn")
    rejected = page.of_class("rejected-path")
    require(len(rejected) == len(document["rejected"]) > 2, "the page has other rejected files")
    for element, entry in zip(rejected, document["rejected"]):
        attrs = element["attrs"]
        require(same_path(attrs, entry), f"{path_of(attrs)} is not {entry}")
        told = (attrs["data-reason"], value(attrs["data-result"]))
        require(told == (entry["reason"], entry["result"]), f"{told} is not {entry}")
    steps = {e["attrs"]["data-step"]: e["attrs"] for e in page.of_class("note") if "data-step" in e["attrs"]}
    require(steps["salvage"]["data-result"] == document["salvage"]["result"], "salvage differs")
    require((steps["salvage"]["data-joined"] == "true") == document["salvage"]["joined"], "joined differs")
    require(steps["division"]["data-result"] == document["division"]["result"], "division differs")


def check_nothing_ran(page):
    titles = [e["text"] for e in page.tagged("title")]
    require(titles and "owned" not in titles[0], "a name became a script")
    require(not page.tagged("iframe", "object", "link"), "the page has what no report has")
    require(len(page.tagged("script")) == 1, "there is not one script")
    for element in page.elements:
        for name, content in element["attrs"].items():
            require(not name.startswith("on"), f"a name became the attribute {name}")
            if name in ("src", "href"):
                inside = content.startswith(("#", "data:image/jpeg;base64,"))
                file = element["tag"] == "a" and re.fullmatch(r"[A-Za-z0-9._~/%-]+", content)
                require(inside or file, f"{content} is elsewhere")


def check_access(page):
    """Headings without gaps, landmarks, names of pictures, links that lead somewhere, a language."""
    levels = [int(e["tag"][1]) for e in page.tagged("h1", "h2", "h3", "h4")]
    require(levels[0] == 1 and levels.count(1) == 1, f"the headings begin with {levels[:3]}")
    require(all(b <= a + 1 for a, b in zip(levels, levels[1:])), f"headings leave out a level: {levels}")
    for tag in ("header", "nav", "main", "footer"):
        require(len(page.tagged(tag)) == 1, f"there is not one {tag}")
    html = page.tagged("html")[0]["attrs"]
    require(html.get("lang") == "en", "the page has no language")
    shared = [e for e in page.tagged("svg") if e["attrs"].get("role") == "img"]
    pictures = page.tagged("img") + shared
    require(len(pictures) > 5 and shared, "there are hardly any pictures")
    for picture in pictures:
        words = picture["attrs"].get("alt") or picture["attrs"].get("aria-label") or ""
        require(len(words) > 10, "a picture has no words")
    for picture in page.tagged("img"):
        require(int(picture["attrs"]["width"]) > 0, "a picture has no size")
        require(picture["attrs"]["loading"] == "lazy", "a picture is not loaded late")
    for drawing in page.tagged("svg"):
        named = drawing in shared or drawing["attrs"].get("aria-hidden") == "true"
        require(named, "a drawing has neither name nor leave")
    ids = [e["attrs"]["id"] for e in page.elements if "id" in e["attrs"]]
    require(len(ids) == len(set(ids)), "an id stands twice")
    links = [e for e in page.elements if e["tag"] in ("a", "use")]
    for link in links:
        if not link["attrs"]["href"].startswith("#"):
            continue
        require(link["attrs"]["href"][1:] in ids, f"{link['attrs']['href']} leads nowhere")
        require(link["tag"] == "use" or link["text"].strip(), "a link has no words")
    for element in page.elements:
        name = element["attrs"].get("aria-labelledby")
        require(name is None or name in ids, f"{name} names nothing")
        require(int(element["attrs"].get("tabindex") or 0) == 0, "the order of the keyboard is changed")


def luminance(colour):
    parts = [int(colour[at : at + 2], 16) / 255 for at in (1, 3, 5)]
    parts = [part / 12.92 if part <= 0.04045 else ((part + 0.055) / 1.055) ** 2.4 for part in parts]
    return 0.2126 * parts[0] + 0.7152 * parts[1] + 0.0722 * parts[2]


def contrast(one, other):
    low, high = sorted((luminance(one), luminance(other)))
    return (high + 0.05) / (low + 0.05)


def check_colours(page):
    style = page.tagged("style")[0]["text"]
    schemes = [dict(re.findall(r"--([\w-]+): (#[0-9a-f]{6});", block))
               for block in re.findall(r":root \{(.*?)\}", style, re.S)[:2]]
    require("prefers-color-scheme: dark" in style and len(schemes) == 2, "there are no two schemes")
    schemes[1] = {**schemes[0], **schemes[1]}
    texts = [("ink", "paper"), ("ink", "card"), ("soft", "paper"), ("soft", "card"), ("soft", "well"),
             ("link", "paper"), ("link", "card"), ("good", "good-back"), ("open", "open-back"),
             ("open", "card"), ("bad", "bad-back")]
    shapes = [(f"v{i}", "card") for i in range(8)] + [("focus", "paper"), ("focus", "card")]
    for scheme in schemes:
        for pair, least in [(pair, 4.5) for pair in texts] + [(pair, 3.0) for pair in shapes]:
            ratio = contrast(scheme[pair[0]], scheme[pair[1]])
            require(ratio >= least, f"{pair} have a contrast of {ratio:.2f}")
    require(contrast("#ffffff", "#1b222b") >= 4.5 and "#ffffff; background: #1b222b" in style, "tags")


def check_fits_a_phone(folder, page):
    """Nothing sticks out at 390 and at 320 pixels: a frame of that width gets no scroll bar. Names of
    bars stand apart from each other, and so do those of hours."""
    for width in (390, 320):
        probe = folder / "probe.html"
        probe.write_text(
            f"<iframe id=f width={width} height=800></iframe><p id=p></p><script>f.onload=()=>{{const r="
            "f.contentDocument.documentElement;let over=0;const boxes=q=>[...f.contentDocument."
            "querySelectorAll(q)].map(e=>e.getBoundingClientRect()).filter(b=>b.width);"
            "for(const q of ['.lanes .name','.tick span']){const b=boxes(q);b.forEach((x,i)=>b.forEach((y,k)=>{"
            "if(i<k&&x.left<y.right-1&&y.left<x.right-1&&x.top<y.bottom-1&&y.top<x.bottom-1)over++;}));}"
            "p.textContent='wide '+r.scrollWidth+' of '+r.clientWidth+', over '+over}"
            f";f.src={json.dumps(page.name)}</script>", encoding="utf-8")
        dom = chromium(folder, probe, "--allow-file-access-from-files", "--dump-dom")
        told = re.search(r"wide (\d+) of (\d+), over (\d+)", dom)
        require(told and int(told[1]) <= int(told[2]), f"the page sticks out: {told and told[0]}")
        require(int(told[3]) == 0, f"names stand on each other at {width}: {told[0]}")


def check_script(folder, page):
    """The one script is let run by its hash, and the field that it makes finds words."""
    text = page.read_text(encoding="utf-8")
    script = re.search(r"<script>(.*?)</script>", text, re.S)[1]
    digest = base64.b64encode(hashlib.sha256(script.encode()).digest()).decode()
    require(f"script-src 'sha256-{digest}'" in text, "the script may not run")
    probe = folder / "find.html"
    probe.write_text(
        "<iframe id=f width=900 height=800></iframe><p id=p></p><script>f.onload=()=>{const d=f.contentDocument;"
        "const i=d.querySelector('.find input');i.value='C2.MP4 complete';i.dispatchEvent(new Event('input'));"
        "setTimeout(()=>{p.textContent='shown '+[...d.querySelectorAll('.sequence')].filter(e=>!e.hidden).length+"
        "' told '+d.querySelector('.find output').textContent},50)}"
        f";f.src={json.dumps(page.name)}</script>", encoding="utf-8")
    dom = chromium(folder, probe, "--allow-file-access-from-files", "--dump-dom")
    require(re.search(r"shown 1 told 1 of \d+", dom), "the field finds nothing")


def pixels(path):
    """The rows of an RGB or RGBA picture in PNG, without a library."""
    data = path.read_bytes()
    width, height, _, kind = struct.unpack(">IIBB", data[16:26])
    depth = {2: 3, 6: 4}[kind]
    at, packed = 8, b""
    while at < len(data):
        size, name = struct.unpack(">I4s", data[at:at + 8])
        if name == b"IDAT":
            packed += data[at + 8:at + 8 + size]
        at += size + 12
    raw = zlib.decompress(packed)
    rows, before = [], bytearray(width * depth)
    for y in range(height):
        start = y * (width * depth + 1)
        way, row = raw[start], bytearray(raw[start + 1:start + 1 + width * depth])
        for x in range(len(row)):
            left = row[x - depth] if x >= depth else 0
            up, corner = before[x], before[x - depth] if x >= depth else 0
            if way == 1:
                row[x] = (row[x] + left) & 255
            elif way == 2:
                row[x] = (row[x] + up) & 255
            elif way == 3:
                row[x] = (row[x] + (left + up) // 2) & 255
            elif way == 4:
                guess = left + up - corner
                nearest = min((left, up, corner), key=lambda v: abs(guess - v))
                row[x] = (row[x] + nearest) & 255
        rows.append(row)
        before = row
    return rows, depth


def check_forced_colours(folder):
    """Bars are still there where the system takes all colours away: a strip of a page of its own,
    whose style is the page's, has dark edges on white."""
    style = re.search(r"<style>(.*?)</style>", (folder / "report.html").read_text(encoding="utf-8"), re.S)[1]
    page = folder / "forced.html"
    page.write_text(f"<style>{style}</style><div style='margin:20px'><div class='strip'><i class='torn head'></i>"
                    "<b class='piece c0 s0'></b><b class='piece c1 s1 end'></b></div></div>", encoding="utf-8")
    shot = folder / "forced.png"
    chromium(folder, page, f"--screenshot={shot}", "--window-size=300,60", "--force-high-contrast",
             "--hide-scrollbars")
    rows, depth = pixels(shot)
    dark = [x for x in range(len(rows[0]) // depth)
            if all(sum(rows[y][x * depth:x * depth + 3]) < 200 for y in range(24, 34))]
    require(len(dark) >= 4, f"bars have no edges in forced colours: {dark}")


def check_join_page(folder, operands):
    """The page of a join says what its JSON says."""
    page = folder / "join.html"
    command = [TOOL, "join", "--json", "--all", "--html", page, "-o", folder / "joined", *operands]
    done = subprocess.run(command, capture_output=True, check=False)
    require(done.returncode == 3, f"{command} ended with {done.returncode}: {done.stderr.decode()}")
    jobs = json.loads(done.stdout)["jobs"]
    dom = Page(chromium(folder, page, "--dump-dom"))
    shown = dom.of_class("job")
    require(len(jobs) == len(shown) > 5, "the page has other jobs")
    for job, element in zip(jobs, shown):
        attrs = element["attrs"]
        told = (value(attrs["data-left-out"]), value(attrs["data-outcome"]), number(attrs["data-size"]))
        outcome = job["outcome"] if job["left_out"] is None else None
        require(told == (job["left_out"], outcome, job["output_size"]), f"{told} is not {job}")
    require("owned" not in dom.tagged("title")[0]["text"], "a name became a script")
    check_fits_a_phone(folder, page)
    again = subprocess.run([*command[:2], "--html", page, *command[6:]], capture_output=True, check=False)
    require(again.returncode == 1, "the page was replaced")


def check_prints(folder, page):
    sheet = folder / "page.pdf"
    chromium(folder, page, f"--print-to-pdf={sheet}", "--no-pdf-header-footer")
    data = sheet.read_bytes()
    require(data.startswith(b"%PDF"), "the page was not printed")
    return len(re.findall(rb"/Type\s*/Page\b", data))


if shutil.which("chromium") is None:
    print("no chromium here: the page is not looked at in a browser")
    sys.exit(SKIPPED)
with tempfile.TemporaryDirectory(prefix="clipchain-report-") as name:
    work = Path(name)
    report = work / "report.html"
    document = run_tool(make_cards(work), report, "--salvage", "--divide")
    require(len(document["sequences"]) >= 8, "the cards have hardly any sequences")
    check_says_what_json_says(Page(report.read_text(encoding="utf-8")), document)
    dom = Page(chromium(work, report, "--dump-dom"))
    check_says_what_json_says(dom, document)
    check_nothing_ran(dom)
    check_access(dom)
    check_colours(dom)
    check_fits_a_phone(work, report)
    sheets = check_prints(work, report)
    require(1 <= sheets <= 12, f"the page takes {sheets} sheets")
    check_script(work, report)
    check_forced_colours(work)
    check_join_page(work, [path for path in work.iterdir() if "card" in path.name])
print("1 passed, 0 failed")
