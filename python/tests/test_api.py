"""The package's public face: its version, a docstring for every public name, stubs that match."""

import ast
import inspect
import pathlib
import subprocess
import sys

import chromameter
from chromameter import colour


def public_names(module):
    return [name for name in module.__all__ if not name.startswith("_")]


def test_the_version_is_the_projects_and_prints_from_a_fresh_interpreter():
    assert chromameter.__version__.count(".") == 2
    printed = subprocess.run(
        [sys.executable, "-c", "import chromameter; print(chromameter.__version__)"],
        capture_output=True, text=True, check=True, timeout=60,
    )
    assert printed.stdout.strip() == chromameter.__version__


def test_every_public_name_and_method_has_a_docstring():
    undocumented = []
    for module in (chromameter, colour):
        assert inspect.getdoc(module), module.__name__
        for name in public_names(module):
            value = getattr(module, name)
            if isinstance(value, str) or inspect.ismodule(value):
                continue
            if not inspect.getdoc(value):
                undocumented.append(f"{module.__name__}.{name}")
            if inspect.isclass(value):
                for member, attribute in vars(value).items():
                    if member.startswith("_") or not (callable(attribute) or isinstance(attribute, property)):
                        continue
                    if not inspect.getdoc(attribute):
                        undocumented.append(f"{module.__name__}.{name}.{member}")
    assert undocumented == []


def stub_names(path):
    tree = ast.parse(path.read_text())
    names = set()
    for node in tree.body:
        if isinstance(node, (ast.FunctionDef, ast.ClassDef)):
            names.add(node.name)
        elif isinstance(node, ast.AnnAssign) and isinstance(node.target, ast.Name):
            names.add(node.target.id)
        elif isinstance(node, ast.ImportFrom):
            names.update(alias.asname or alias.name for alias in node.names)
    return names


def test_the_stubs_declare_every_public_name():
    package = pathlib.Path(chromameter.__file__).parent
    assert set(public_names(chromameter)) <= stub_names(package / "__init__.pyi")
    assert set(public_names(colour)) <= stub_names(package / "colour.pyi")
    assert (package / "py.typed").exists()
