// The C# wrapper of libZemCal, over its C interface (zemcal_c.h).
//
// Units: logical points in millimetres, field centre at the origin, y up, in;
// device points in galvo units from 0 to Resolution, out. Every result is bit
// for bit that of the C++ library.
//
// Errors: a failed call throws, with the sentence the zemcal tool prints:
// IOException for a file that cannot be opened or written,
// InvalidDataException for contents the library refuses, ArgumentException
// for an argument out of range.
using System;
using System.Globalization;
using System.IO;
using System.Runtime.InteropServices;

namespace ZemCalNet
{
    /// <summary>A point of two floats, x then y, laid out as the library's points.</summary>
    [StructLayout(LayoutKind.Sequential)]
    public struct PointF
    {
        public float X;
        public float Y;

        public PointF(float x, float y) { X = x; Y = y; }

        public override string ToString() { return X.ToString("G9", CultureInfo.InvariantCulture) + " " + Y.ToString("G9", CultureInfo.InvariantCulture); }
    }

    /// <summary>The status codes of the C interface.</summary>
    public enum Status
    {
        Ok = 0, Argument = 1, File = 2, Data = 3, Memory = 4, Fit = 5, Internal = 6
    }

    /// <summary>The basic fields of a calibration (zemcal_info).</summary>
    [StructLayout(LayoutKind.Sequential)]
    public struct CalibrationInfo
    {
        public double FieldSize;    // mm: the device span
        public double WorkingSize;  // mm: side of the working field
        public int Resolution;      // largest device coordinate
        public int Center;          // device coordinate of the field centre
        public int XYFlip, XInvert, YInvert;           // manual path flags
        public int XYFlipLsm, XInvertLsm, YInvertLsm;  // least-squares path flags
        public int Version;         // the version byte
        public int Binary;          // 1: loaded from a binary file
        public int TableCount;      // number of grid tables
    }

    /// <summary>Owns a zemcal_calibration handle and frees it exactly once.</summary>
    internal sealed class CalibrationHandle : SafeHandle
    {
        public CalibrationHandle() : base(IntPtr.Zero, true) { }

        public override bool IsInvalid { get { return handle == IntPtr.Zero; } }

        protected override bool ReleaseHandle()
        {
            Native.zemcal_free(handle);
            return true;
        }
    }

    internal static class Native
    {
        const string Lib = "ZemCal";  // libZemCal.so, ZemCal.dll

        [DllImport(Lib)] public static extern IntPtr zemcal_last_error();
        [DllImport(Lib)] public static extern IntPtr zemcal_version();
        [DllImport(Lib)] public static extern Status zemcal_load(string path, double fieldSize, out CalibrationHandle cal);
        [DllImport(Lib)] public static extern Status zemcal_save(CalibrationHandle cal, string path, int version);
        [DllImport(Lib)] public static extern Status zemcal_get_info(CalibrationHandle cal, out CalibrationInfo info, UIntPtr size);
        [DllImport(Lib)] public static extern Status zemcal_get_table_size(CalibrationHandle cal, int index, out int n);
        [DllImport(Lib)] public static extern Status zemcal_correct(CalibrationHandle cal, float x, float y, out float outX, out float outY);
        [DllImport(Lib)] public static extern Status zemcal_correct_array(CalibrationHandle cal, [In] PointF[] input, [Out] PointF[] output, UIntPtr count);
        [DllImport(Lib)] public static extern Status zemcal_correct_array(CalibrationHandle cal, IntPtr input, IntPtr output, UIntPtr count);
        [DllImport(Lib)] public static extern void zemcal_free(IntPtr cal);
    }

    /// <summary>A calibration loaded from a file, prepared for correcting points.</summary>
    public sealed class ZemCal : IDisposable
    {
        readonly CalibrationHandle handle;

        ZemCal(CalibrationHandle h) { handle = h; }

        /// <summary>The library version, "major.minor.patch".</summary>
        public static string LibraryVersion { get { return Marshal.PtrToStringAnsi(Native.zemcal_version()); } }

        /// <summary>Loads a binary calibration file, or imports and fits a text
        /// correction file. fieldSize (mm) is the device span of a text file,
        /// which does not carry it (0: 100 mm; a binary file's own value wins).</summary>
        public static ZemCal Load(string path, double fieldSize = 0.0)
        {
            CalibrationHandle h;
            Check(Native.zemcal_load(path, fieldSize, out h));
            return new ZemCal(h);
        }

        /// <summary>Saves as a binary calibration file, atomically: stamps the
        /// version byte (-1 keeps it), refits and writes.</summary>
        public void Save(string path, int version = -1)
        {
            Check(Native.zemcal_save(handle, path, version));
        }

        /// <summary>The basic fields.</summary>
        public CalibrationInfo Info
        {
            get
            {
                CalibrationInfo info;
                Check(Native.zemcal_get_info(handle, out info, (UIntPtr)Marshal.SizeOf(typeof(CalibrationInfo))));
                return info;
            }
        }

        /// <summary>The grid dimension n of each n x n table.</summary>
        public int[] TableSizes
        {
            get
            {
                var sizes = new int[Info.TableCount];
                for (int i = 0; i < sizes.Length; ++i) Check(Native.zemcal_get_table_size(handle, i, out sizes[i]));
                return sizes;
            }
        }

        /// <summary>One logical point (mm) to its device point (galvo units).</summary>
        public PointF Correct(PointF p)
        {
            PointF r;
            Check(Native.zemcal_correct(handle, p.X, p.Y, out r.X, out r.Y));
            return r;
        }

        /// <summary>Corrects every point of the array in place.</summary>
        public void Correct(PointF[] points)
        {
            if (points == null) throw new ArgumentNullException("points");
            var pin = GCHandle.Alloc(points, GCHandleType.Pinned);
            try
            {
                IntPtr p = pin.AddrOfPinnedObject();
                Check(Native.zemcal_correct_array(handle, p, p, (UIntPtr)points.Length));
            }
            finally { pin.Free(); }
        }

        /// <summary>Corrects input into output (of at least the same length).</summary>
        public void Correct(PointF[] input, PointF[] output)
        {
            if (input == null) throw new ArgumentNullException("input");
            if (output == null) throw new ArgumentNullException("output");
            if (output.Length < input.Length) throw new ArgumentException("output is shorter than input");
            Check(Native.zemcal_correct_array(handle, input, output, (UIntPtr)input.Length));
        }

        public void Dispose() { handle.Dispose(); }

        // The one place where a status becomes an exception.
        static void Check(Status s)
        {
            if (s == Status.Ok) return;
            string message = Marshal.PtrToStringAnsi(Native.zemcal_last_error());
            switch (s)
            {
                case Status.File: throw new IOException(message);
                case Status.Data: throw new InvalidDataException(message);
                case Status.Argument: throw new ArgumentException(message);
                case Status.Memory: throw new OutOfMemoryException(message);
                default: throw new InvalidOperationException(message);
            }
        }
    }
}
