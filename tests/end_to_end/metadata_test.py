"""What the host sets while it runs, up to the dump, the record and the report folder."""

import json
import unittest

from harness import BIN, EndToEndTest, windows_path

import minidump  # of the crash service


class MetadataTest(EndToEndTest):
    def test_before_init(self):
        host = self.host(init=False)
        for name in ("set_key", "set_user", "set_email", "set_user_description", "set_notes", "set_environment",
                     "add_attachment", "remove_attachment", "watch"):
            self.assertEqual("3", host.do(name, "x"), name)
            self.assertEqual("3", host.do(name), name)
        self.assertEqual("3", host.do("set_attribute", "a", "b"))
        self.assertEqual("3", host.do("set_attribute"))
        for name in ("quiet", "heartbeat", "unwatch"):
            self.assertEqual("0", host.do(name, "1"))
        self.assertEqual(["3", "3"], [host.call("breadcrumb_add", 1, "", ""), host.call("breadcrumb_clear")])
        self.assertEqual("-", host.do("environment"))

    def test_reaches_every_kind_of_report(self):
        attachment = self.folder / "extra ü.txt"
        attachment.write_text("extra")
        host = self.host(user="first", key="K")
        values = {"user": "Jürgen 中", "email": "e" * 5000, "notes": "n" * 25000, "userDescription": "d" * 25000,
                  "key": "", "environment": "staging"}
        for name, value in values.items():
            setter = {"userDescription": "set_user_description"}.get(name, "set_" + name)
            self.assertEqual("0", host.do(setter, value))
        self.assertEqual("staging", host.do("environment"))
        self.assertEqual("0", host.do("set_attribute", "größe", "v" * 5000))
        self.assertEqual("0", host.do("set_attribute", "gone", "x"))
        self.assertEqual("0", host.do("set_attribute", "gone"))
        self.assertEqual("0", host.do("set_attribute", "k" * 300, "long name"))
        # To a dump the same name; this one has no value in the end.
        self.assertEqual("0", host.do("set_attribute", "k" * 300 + "2", "other"))
        self.assertEqual("0", host.do("set_attribute", "k" * 300 + "2"))
        self.assertEqual("0", host.do("add_attachment", windows_path(attachment)))
        self.assertEqual("0", host.do("capture"))
        self.wait_for_reports(1)
        host.crash("access-violation")
        folders = self.wait_for_reports(2)
        self.assertEqual({"capture", "crash"}, {self.record(folder)["reportKind"] for folder in folders})
        for folder in folders:
            record = self.record(folder)
            expected = {**values, "email": "e" * 4096, "notes": "n" * 20480, "userDescription": "d" * 20480, "attachments": ["extra ü.txt"],
                        "attributes": {"größe": "v" * 4096, "k" * 250: "long name"}}
            self.assertEqual(expected, {key: record[key] for key in expected})
            self.assertEqual("extra", (folder / "extra ü.txt").read_text())

    def test_breadcrumbs_reach_every_kind_of_report(self):
        attachment = self.folder / "breadcrumbs.json"
        attachment.write_text("the host's own")
        host = self.host(breadcrumbs=201, attachment=windows_path(attachment))
        self.assertEqual("1", host.call("breadcrumb_add", 1, "category", ""))
        for i in range(205):
            self.assertEqual("0", host.call("breadcrumb_add", i % 4, "cätegory" * 4, f"{i} " + "m" * 252 + "ü"))
        host.do("capture")
        self.wait_for_reports(1)
        self.assertEqual("0", host.do("post", "feedback", "t", "d", windows_path(attachment)).split()[0])
        self.wait_for_reports(2)
        self.assertEqual("0", host.call("breadcrumb_clear"))
        host.call("breadcrumb_add", 3, "", "the last")
        host.crash("access-violation")
        thread = None
        for folder in self.wait_for_reports(3):
            with self.subTest(kind=self.record(folder)["reportKind"]):
                found = json.loads((folder / "breadcrumbs.json").read_text("utf-8"))
                self.assertEqual(["breadcrumbs (2).json"], self.record(folder)["attachments"])
                self.assertNotIn("breadcrumbs", json.dumps(self.record(folder)["attributes"]))
                for one in found:
                    self.assertRegex(one.pop("time"), r"^20\d\d-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$")
                    thread = thread or one["threadId"]
                    self.assertEqual(thread, one.pop("threadId"))
                if self.record(folder)["reportKind"] == "crash":
                    expected = [("ERROR", "", "the last")]
                else:
                    levels = ("DEBUG", "INFO", "WARN", "ERROR")
                    expected = [(levels[i % 4], "cätegory" * 3 + "cäte", f"{i} " + "m" * 252 + "ü" * (i < 10))
                                for i in range(5, 205)]
                self.assertEqual(expected, [(one["level"], one["category"], one["message"]) for one in found])

    def test_without_breadcrumbs_nothing_differs(self):
        attachment = self.folder / "breadcrumbs.json"
        attachment.write_text("the host's own")
        host = self.host(attachment=windows_path(attachment))
        self.assertEqual(["0", "0"], [host.call("breadcrumb_add", 1, "", "m"), host.call("breadcrumb_clear")])
        host.do("capture")
        folder = self.only_report()
        self.assertEqual("the host's own", (folder / "breadcrumbs.json").read_text())
        self.assertFalse([key for key in self.dump(folder).live_annotations if "breadcrumbs" in key])

    def test_attribute_limits(self):
        host = self.host()
        for name in (None, ""):
            self.assertEqual("1", host.do("set_attribute", *([] if name is None else [name, "v"])))
        for i in range(64):
            self.assertEqual("0", host.do("set_attribute", f"n{i}", i))
        self.assertEqual("8", host.do("set_attribute", "one more", "v"))
        self.assertEqual("0", host.do("set_attribute", "n5", "changed"))
        self.assertEqual("0", host.do("set_attribute", "n6"))
        self.assertEqual("0", host.do("set_attribute", "one more", ""))
        self.assertEqual("8", host.do("set_attribute", "two more", "v"))

    def test_thousands_of_names_leave_room_for_the_named_facts(self):
        host = self.host(user="the user", notes="the notes")
        host.do("set_attribute", "kept 0", "before")
        host.do("set_attribute", "kept 0", "")
        self.assertEqual("0", host.do("many_attributes", 3000))
        for i in range(64):
            self.assertEqual("0", host.do("set_attribute", f"kept {i}", i))
        host.do("capture")
        record = self.record(self.only_report())
        self.assertEqual(("the user", "the notes"), (record["user"], record["notes"]))
        self.assertTrue(record["environment"].startswith("Windows"))
        self.assertEqual({f"kept {i}": str(i) for i in range(64)}, record["attributes"])

    def test_attachments_rewrite_the_session_file(self):
        host = self.host(attachment=["Z:\\one"])

        def listed():
            (session,) = (self.store / "sessions").glob("*.json")
            return json.loads(session.read_text("utf-8"))["attachments"]

        rows = [("add_attachment", "Z:\\twö", "0", ["Z:\\one", "Z:\\twö"]),
                ("add_attachment", "Z:\\one", "0", ["Z:\\one", "Z:\\twö"]),
                ("remove_attachment", "Z:\\no", "0", ["Z:\\one", "Z:\\twö"]),
                ("remove_attachment", "", "0", ["Z:\\one", "Z:\\twö"]),
                ("add_attachment", "", "1", ["Z:\\one", "Z:\\twö"]),
                ("remove_attachment", "Z:\\one", "0", ["Z:\\twö"])]
        for command, path, result, expected in rows:
            with self.subTest(command=command, path=path):
                self.assertEqual(result, host.do(command, path))
                self.assertEqual(expected, listed())
        self.assertEqual(["1", "1"], [host.do("add_attachment"), host.do("remove_attachment")])
        for i in range(23):
            self.assertEqual("0", host.do("add_attachment", f"Z:\\{i}"))
        self.assertEqual("8", host.do("add_attachment", "Z:\\one too many"))
        self.assertEqual(24, len(listed()))

    def test_environment_default(self):
        host = self.host(environment="given")
        default = None
        for value, expected in (("x", "x"), ("", None), ("y", "y"), (None, None)):
            host.do("set_environment", *([] if value is None else [value]))
            default = default or (host.do("environment") if expected is None else None)
            self.assertEqual(expected or default, host.do("environment"))
        self.assertTrue(default.startswith("Windows"))

    def test_quiet_mode(self):
        rows = [(2, [1, 0], ["quiet", "manual"], "manual"), (0, [1, 0], ["quiet", "dialog"], "dialog"),
                (1, [0], ["dialog"], "quiet"), (3, [0], ["dialog"], "dialog")]
        for policy, flags, expected, at_start in rows:
            with self.subTest(policy=policy):
                # The dumps alone: with a monitor that does not take them.
                host = self.host(upload_policy=policy, monitor_path=windows_path(BIN / "crashpad_handler.exe"))
                for flag in flags:
                    host.do("quiet", flag)
                    host.do("capture")
                host.close()
                dumps = sorted((self.store / "crashpad" / "reports").glob("*.dmp"),
                               key=lambda path: path.stat().st_mtime_ns)
                found = [minidump.Minidump(dump.read_bytes()) for dump in dumps]
                self.assertEqual(expected, [dump.live_annotations["wrenfall.policy"] for dump in found])
                self.assertEqual({at_start}, {dump.startup_annotations["wrenfall.policy"] for dump in found})
                for dump in dumps:
                    dump.unlink()


if __name__ == "__main__":
    unittest.main(verbosity=2)
