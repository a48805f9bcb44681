"""The examples are valid, are loaded by the plug-in as they stand, and are complete."""

import pathlib
import unittest

import made
import cloud_server  # of tests/tools/cloud, where the line before looks
import schemas


class Examples(unittest.TestCase):
    def trees(self):
        self.assertEqual([tree.name for tree in made.TREES],
                         ["forwarding-table", "https-compressed", "small-plant"])
        return made.TREES

    def test_files_are_valid(self):
        for tree in self.trees():
            for path in sorted(tree.rglob("*.xml")):
                with self.subTest(file=str(path)):
                    self.assertEqual(
                        schemas.xml_problem(schemas.of_file(path), path.read_bytes()), "")

    def test_plug_in_makes_files_of_each(self):
        for tree in self.trees():
            with self.subTest(tree=tree.name):
                made.install(tree)
                self.assertEqual(len(made.produce()), 2)

    def test_each_registers_and_delivers(self):
        for tree in self.trees():
            with self.subTest(tree=tree.name):
                cloud = cloud_server.Cloud()
                self.addCleanup(cloud.close)
                made.install(tree)
                secure = 'https checked="1"' in (made.CONFIG / "sys.xml").read_text(encoding="utf-8")
                made.install(tree, cloudip="127.0.0.1", Dir="",
                             port=cloud.ready["https" if secure else "http"])
                made.exchange(*made.produce())
                gateway = cloud.list("/gateways")[0]
                self.assertTrue(gateway["registered"])
                self.assertTrue(cloud.list(f"/gateways/{gateway['sn']}/points"))

    def test_each_point_of_the_small_plant_is_written(self):
        content = made.files("small-plant", "json", 0)[0][1].decode()
        for data_id in ("01030001", "01031123", "02010301", "02010401"):
            self.assertIn(f'"dblink":"{data_id}"', content)
        self.assertIn('{"id":4,"channel":1,"node":[{"dblink":"01040100","name":"Comm_Status",'
                      '"unit":"","value":"0"}]}', content)

    def test_forwarding_table_gives_its_own_names(self):
        name, content = made.files("forwarding-table", "xml", 0)[0]
        self.assertTrue(name.endswith(".xml"))
        for point in ("INTAKE.VOLTAGE", "INTAKE.BREAKER", "PUMP.FLOW", "PUMP.SPEED"):
            self.assertIn(f'name="{point}"'.encode(), content)
        self.assertNotIn(b'name="Running"', content)

    def test_gateways_own_points_have_no_status(self):
        content = made.files("https-compressed", "json", 0)[0][1].decode()
        self.assertIn('{"id":1,"channel":192,"node":[{"dblink":"c0010001","name":"Temperature",'
                      '"unit":"°C","value":"41.250"}', content)
        self.assertNotIn("c0010100", content)

    def test_deflated_example_makes_deflated_files(self):
        made.install(made.EXAMPLES / "https-compressed")
        self.assertEqual([pathlib.Path(path).suffix for path in made.produce()], [".jsonz", ".jsonz"])


if __name__ == "__main__":
    unittest.main()
