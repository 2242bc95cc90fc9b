"""What the tests of all packages share: the packages, and what has to be true of the content of each."""

import os
import pathlib
import re
import shutil
import subprocess
import tempfile

PACKAGES = pathlib.Path(os.environ["CELLSLOT_PACKAGES"])
ROOT = pathlib.Path(os.environ.get("CELLSLOT_ROOT", "/nonexistent"))
UNITS = "lib/systemd/system"


def packageFile(which, name):
    found, = (PACKAGES / which).glob(f"{name}_*.deb")
    return found


def output(*command):
    result = subprocess.run(command, capture_output=True, text=True, check=False)
    if result.returncode != 0:
        raise AssertionError(f"{command}: {result.returncode}\n{result.stdout}{result.stderr}")
    return result.stdout


def pageFiles(table):
    """Names of the page's files, compressed: those of its table in the source and those that every page has."""
    repo = pathlib.Path(__file__).resolve().parents[2]
    source = (repo / table).read_text() + (repo / "http/page_files.cpp").read_text()
    return {name + ".gz" for name in re.findall(r'\{"/[^"]*",\s+"([^"]+)"', source)}


class ContentsCase:
    """For a TestCase with NAME, the package; SERVICES, its services, of a template one instance; EXPOSURE_MAX, in
    tenths, as systemd-analyze counts (a missing directive counts 1 to 5); SCRIPTS, those of the package."""

    SCRIPTS = ("postinst", "prerm", "postrm")

    @classmethod
    def setUpClass(cls):
        cls.package = packageFile("old", cls.NAME)
        cls.root = pathlib.Path(tempfile.mkdtemp())
        cls.addClassCleanup(shutil.rmtree, cls.root)
        output("dpkg-deb", "-R", str(cls.package), str(cls.root))
        lines = output("dpkg-deb", "-c", str(cls.package)).splitlines()
        cls.owners = {line.split()[1] for line in lines}
        cls.modes = {line.split()[5].removeprefix("./"): line.split()[0] for line in lines}

    @classmethod
    def extractedUnit(cls, name):
        """A unit beside the package's others, with the paths of the extracted programs."""
        folder = cls.root / "units"
        folder.mkdir(exist_ok=True)
        for file in (cls.root / UNITS).iterdir():
            text = re.sub(r"(?m)^(Exec\w+=-?)(?=/usr/)", rf"\g<1>{cls.root}", file.read_text())
            (folder / file.name).write_text(text)
        template = folder / re.sub(r"@[^.]+\.", "@.", name)
        if not (folder / name).exists():
            shutil.copy(template, folder / name)
        return folder / name

    def test_lintian_findsNoError(self):
        result = subprocess.run(["lintian", "--allow-root", "--fail-on", "error", self.package],
                                capture_output=True, text=True, check=False)
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)

    def test_files_areRootsOwn(self):
        self.assertEqual(self.owners, {"root/root"})

    def test_everythingUnderEtc_isAConffile(self):
        listed = self.root / "DEBIAN/conffiles"
        shipped = [f"/{name}" for name, mode in self.modes.items() if name.startswith("etc/") and mode[0] == "-"]
        self.assertEqual(sorted(listed.read_text().split()) if listed.exists() else [], sorted(shipped))

    def test_units_areAcceptedCompletely(self):
        sockets = [file.name for file in (self.root / UNITS).glob("*.socket")]
        for name in (*self.SERVICES, *sockets):
            result = subprocess.run(["systemd-analyze", "verify", "--man=no", self.extractedUnit(name)],
                                    capture_output=True, text=True, check=False)
            self.assertEqual((result.returncode, result.stdout + result.stderr), (0, ""), name)

    def test_services_keepTheirSandbox(self):
        for name in self.SERVICES:
            result = subprocess.run(["systemd-analyze", "security", "--offline=true", "--no-pager",
                                     f"--threshold={self.EXPOSURE_MAX}", self.extractedUnit(name)],
                                    capture_output=True, text=True, check=False)
            level = re.search(r"Overall exposure level.*?: ([\d.]+)", result.stdout)
            print(f"{name}: exposure {level[1] if level else 'not known'}")
            self.assertEqual(result.returncode, 0, result.stdout + result.stderr)

    def test_scripts_areCorrectShell(self):
        for script in self.SCRIPTS:
            output("sh", "-n", str(self.root / "DEBIAN" / script))
