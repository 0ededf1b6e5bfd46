// The C# wrapper against the zemcal tool: the same device points bit for bit
// (single, array and in place), the basic fields, a save that loads back, and
// the tool's sentences in the exceptions.
//   mono TestZemCal.exe SAMPLE POINTS TOOL_OUTPUT SCRATCH_DIR DATA_DIR
using System;
using System.Globalization;
using System.IO;
using System.Linq;
using ZemCalNet;

static class TestZemCal
{
    static int failures = 0;

    static void Expect(bool ok, string what)
    {
        if (ok) return;
        Console.Error.WriteLine("FAILED: " + what);
        ++failures;
    }

    static PointF[] ReadPoints(string path)
    {
        return File.ReadAllLines(path).Where(l => l.Trim().Length > 0).Select(l => {
            string[] f = l.Split(' ');
            return new PointF(float.Parse(f[0], CultureInfo.InvariantCulture),
                              float.Parse(f[1], CultureInfo.InvariantCulture));
        }).ToArray();
    }

    static bool SameBits(PointF[] a, PointF[] b)
    {
        if (a.Length != b.Length) return false;
        for (int i = 0; i < a.Length; ++i)
            if (BitConverter.ToInt32(BitConverter.GetBytes(a[i].X), 0) != BitConverter.ToInt32(BitConverter.GetBytes(b[i].X), 0) ||
                BitConverter.ToInt32(BitConverter.GetBytes(a[i].Y), 0) != BitConverter.ToInt32(BitConverter.GetBytes(b[i].Y), 0))
                return false;
        return true;
    }

    static void ExpectThrows<T>(Action call, string message, string what) where T : Exception
    {
        try { call(); Expect(false, what + ": no exception"); }
        catch (T e) { Expect(message == null || e.Message == message, what + ": message \"" + e.Message + "\", expected \"" + message + "\""); }
        catch (Exception e) { Expect(false, what + ": " + e.GetType().Name + " " + e.Message); }
    }

    static int Main(string[] args)
    {
        string sample = args[0], scratch = args[3], data = args[4];
        PointF[] input = ReadPoints(args[1]), expected = ReadPoints(args[2]);

        using (ZemCal cal = ZemCal.Load(sample))
        {
            PointF[] single = input.Select(p => cal.Correct(p)).ToArray();
            PointF[] array = new PointF[input.Length];
            cal.Correct(input, array);
            PointF[] inPlace = (PointF[])input.Clone();
            cal.Correct(inPlace);
            Expect(SameBits(single, expected), "one point at a time differs from zemcal correct");
            Expect(SameBits(array, expected), "array differs from zemcal correct");
            Expect(SameBits(inPlace, expected), "in place differs from zemcal correct");

            Expect(cal.Info.FieldSize == 110.0 && cal.Info.Resolution == 65535 && cal.Info.Binary == 1, "info");
            Expect(cal.TableSizes.SequenceEqual(new[] { 17, 17 }), "table sizes");

            string saved = Path.Combine(scratch, "cs-saved.zcal");
            cal.Save(saved, 0x60);
            using (ZemCal back = ZemCal.Load(saved))
            {
                PointF[] again = (PointF[])input.Clone();
                back.Correct(again);
                cal.Correct(array = (PointF[])input.Clone());
                Expect(SameBits(again, array), "saved file corrects differently");
            }
            string missingDir = Path.Combine(scratch, "missing");
            ExpectThrows<IOException>(() => cal.Save(Path.Combine(missingDir, "x.zcal")),
                                      "cannot write " + Path.Combine(missingDir, "x.zcal") + ": No such file or directory", "save into a missing folder");
            ExpectThrows<ArgumentException>(() => cal.Save(saved, 0x33),
                                            "version '3' (0x33) would write a file the library refuses to load", "save as version '3'");
        }
        string missing = Path.Combine(scratch, "missing.zcal");
        ExpectThrows<IOException>(() => ZemCal.Load(missing), "cannot open " + missing + ": No such file or directory", "missing file");
        string v3 = Path.Combine(data, "bcd_version3.bin");
        ExpectThrows<InvalidDataException>(() => ZemCal.Load(v3), v3 + ": calibration version '3' (0x33) is refused by the library", "version '3'");
        ExpectThrows<ArgumentException>(() => ZemCal.Load(sample, -1.0), "the field size must be a positive number of millimetres", "negative field size");

        ZemCal disposed = ZemCal.Load(sample);
        disposed.Dispose();
        disposed.Dispose();  // a second Dispose is harmless
        ExpectThrows<ObjectDisposedException>(() => disposed.Correct(new PointF(0f, 0f)), null, "use after Dispose");

        Console.WriteLine(failures == 0 ? "all checks passed (" + input.Length + " points)" : failures + " checks failed");
        return failures == 0 ? 0 : 1;
    }
}
