"""The Python module against the command line: the same pixels, the same
samples, the same messages."""
import json
import os
import subprocess
import threading

import numpy as np
import OpenImageIO as oiio
import pytest

import tessaroc

TOOL = os.environ.get("TESSAROC_TOOL", "tessaroc")
EXAMPLES = os.path.join(os.environ.get("TESSAROC_SOURCE_DIR", "."), "examples")


def tool(*args):
    return subprocess.run([TOOL, *args], capture_output=True, text=True)


def bits(pixels):
    # Compared as integers, so that NaNs and signed zeros count too.
    return np.ascontiguousarray(pixels, dtype=np.float32).view(np.uint32)


# An image texture found beside the document, a bake, a movie frame picked by time.
@pytest.mark.parametrize("name,size,threads,time", [
    ("road", (48, 32), 2, 0.0),
    ("image", (40, 40), 1, 0.0),
    ("blur", (33, 17), 0, 0.0),
    ("movie", (24, 24), 2, 1.25),
])
def test_render_is_the_command_lines_exr_to_the_bit(tmp_path, name, size, threads, time):
    path = os.path.join(EXAMPLES, name + ".json")
    exr = str(tmp_path / "out.exr")
    run = tool("render", path, "-o", exr, "--size", "%dx%d" % size, "--threads", str(threads),
               "--time", str(time), "--quiet")
    assert run.returncode == 0, run.stderr
    expected = oiio.ImageInput.open(exr).read_image("float")
    got = tessaroc.Material.from_file(path).render(size[0], size[1], threads=threads, time=time)
    assert got.shape == (size[1], size[0], 4) and got.dtype == np.float32
    assert np.array_equal(bits(got), bits(expected))


@pytest.mark.parametrize("name,uv,context", [
    ("road", (0.3, 0.4), None),
    ("fresnel", (0.7, 0.2), {"shadingnormal": [1, 0, 0]}),
    ("movie", (0.5, 0.5), {"time": 1.5}),
])
def test_eval_is_the_command_lines_json(tmp_path, name, uv, context):
    path = os.path.join(EXAMPLES, name + ".json")
    args = ["eval", path, "--uv", "%r,%r" % uv]
    if context is not None:
        (tmp_path / "ctx.json").write_text(json.dumps(context))
        args += ["--context", str(tmp_path / "ctx.json")]
    run = tool(*args)
    assert run.returncode == 0, run.stderr
    assert tessaroc.Material.from_file(path).eval(*uv, context=context) == json.loads(run.stdout)


def test_from_json_takes_text_or_a_dict_and_finds_files_in_base_dir():
    path = os.path.join(EXAMPLES, "image.json")
    with open(path) as f:
        text = f.read()
    expected = tessaroc.Material.from_file(path).render(16, 16)
    for document in (text, json.loads(text)):
        got = tessaroc.Material.from_json(document, base_dir=EXAMPLES).render(16, 16)
        assert np.array_equal(bits(got), bits(expected))


def test_mistakes_raise_the_command_lines_message(tmp_path):
    bad = tmp_path / "bad.json"
    bad.write_text(json.dumps({"tessaroc": 1, "nodes": {"n": {"node": "noise", "inputs": {"octaves": "many"}}},
                               "output": {"link": "n.result"}}))
    run = tool("eval", str(bad))
    assert run.returncode != 0
    message = run.stderr.strip().removeprefix("tessaroc: error: ")
    assert "/nodes/n/inputs/octaves" in message
    with pytest.raises(tessaroc.Error) as raised:
        tessaroc.Material.from_file(str(bad))
    assert str(raised.value) == message
    assert isinstance(raised.value, ValueError)
    with pytest.raises(tessaroc.Error, match="unknown context field"):
        tessaroc.Material.from_file(os.path.join(EXAMPLES, "road.json")).eval(0, 0, context={"colour": 1})
    with pytest.raises(tessaroc.Error, match="unknown node"):
        tessaroc.describe("nosuchnode")


def test_messages_of_a_render_are_warnings(tmp_path):
    doc = {"tessaroc": 1, "nodes": {"i": {"node": "image", "inputs": {"url": "missing.png"}}},
           "output": {"link": "i.result"}}
    (tmp_path / "doc.json").write_text(json.dumps(doc))
    printed = tool("render", str(tmp_path / "doc.json"), "-o", str(tmp_path / "out.exr"), "--size", "4", "--quiet")
    message = printed.stderr.strip().removeprefix("tessaroc: ")
    assert "missing.png" in message
    with pytest.warns(RuntimeWarning) as caught:
        tessaroc.Material.from_json(doc, base_dir=tmp_path).render(4, 4)
    assert [str(w.message) for w in caught] == [message]


def test_nodes_and_describe_are_the_command_lines():
    assert tessaroc.nodes() == tool("nodes", "--core").stdout.split()
    listed = json.loads(tool("nodes", "--json").stdout)
    assert tessaroc.describe("checkerboard") == next(a for a in listed["assets"] if a["alias"] == "checkerboard")
    core = listed["corenodes"][0]
    assert tessaroc.describe(core["id"]) == core
    assert tessaroc.__version__ == tool("--version").stdout.split()[-1]


def test_two_threads_render_at_once():
    materials = [tessaroc.Material.from_file(os.path.join(EXAMPLES, n + ".json")) for n in ("road", "voronoi")]
    alone = [m.render(96, 96, threads=1) for m in materials]
    results = [None, None]

    def render(i):
        results[i] = materials[i].render(96, 96, threads=1)

    threads = [threading.Thread(target=render, args=(i,)) for i in range(2)]
    for t in threads:
        t.start()
    for t in threads:
        t.join(timeout=120)
        assert not t.is_alive()
    for got, expected in zip(results, alone):
        assert np.array_equal(bits(got), bits(expected))
