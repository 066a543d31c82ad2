"""The helper module for Windows Error Reporting: what is told about it, with and without its place in the allow-list."""

import shutil
import unittest

from harness import BIN, RoadTest, windows_path, wine

KEY = (r"HKLM\SOFTWARE\Microsoft\Windows\Windows Error Reporting"
       r"\RuntimeExceptionHelperModules")


class WerTest(RoadTest):
    def setUp(self):
        super().setUp()
        self.library = self.folder / "bin"
        self.library.mkdir()
        for name in ("Wrenfall.dll", "WrenfallMonitor.exe", "WrenfallReporter.exe",
                     "crashpad_handler.exe", "test_host.exe"):
            shutil.copy(BIN / name, self.library)
        self.module = self.library / "WrenfallWer.dll"

    def test_missing(self):
        host = self.host(folder=self.library)
        self.assertEqual("0", host.do("has_capability", 2))
        self.assertIn("WARN WrenfallWer.dll not found next to the library; WER coverage disabled\n", self.log())

    def test_allow_list(self):
        self.module.write_bytes(b"Registered by name; never loaded here.")
        name = windows_path(self.module)
        for listed, ending in ((False, "off (add the DLL path to HKLM RuntimeExceptionHelperModules)"),
                               (True, "on")):
            with self.subTest(listed=listed):
                if listed:
                    self.assertEqual(0, wine("reg", "add", KEY, "/v", name, "/t", "REG_DWORD", "/d", "0",
                                             "/f", stdout=-3, stderr=-3).wait(60))
                host = self.host(folder=self.library)
                self.assertEqual(str(int(listed)), host.do("has_capability", 2))
                self.assertIn(f"INFO WER helper {name}: registered=1 allow-listed={int(listed)} -> coverage "
                              f"{ending}\n", self.log())
                host.close()
        self.assertEqual(0, wine("reg", "delete", KEY, "/v", name, "/f", stdout=-3, stderr=-3).wait(60))


if __name__ == "__main__":
    unittest.main(verbosity=2)
