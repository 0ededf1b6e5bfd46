// A C# host: load the bundled sample calibration, print its basic fields and
// correct a row of points, one at a time and as an array in place.
using System;
using ZemCalNet;

static class Example
{
    static int Main(string[] args)
    {
        string path = args.Length > 0 ? args[0] : "examples/sample-head.zcal";
        try
        {
            using (ZemCal cal = ZemCal.Load(path))  // a text file: Load(path, fieldSizeMm)
            {
                CalibrationInfo info = cal.Info;
                Console.WriteLine("field {0} mm, working {1} mm, resolution {2}, {3} grid tables",
                                  info.FieldSize, info.WorkingSize, info.Resolution, info.TableCount);
                Console.WriteLine("40 -25 -> " + cal.Correct(new PointF(40f, -25f)));  // mm in, galvo units out
                var points = new[] { new PointF(-50f, 10f), new PointF(-25f, 10f), new PointF(0f, 10f),
                                     new PointF(25f, 10f), new PointF(50f, 10f) };
                cal.Correct(points);  // in place
                foreach (PointF p in points) Console.WriteLine(p);
            }
            return 0;
        }
        catch (Exception e)
        {
            Console.Error.WriteLine(e.Message);
            return 1;
        }
    }
}
