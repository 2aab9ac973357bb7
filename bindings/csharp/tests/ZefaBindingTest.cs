// The C# binding under mono, against the real libzefa: start-up options and the log callback,
// status codes, both hubs with C# listeners, and server calls to a local HTTP server whose
// outcomes arrive through Zefa.RunOnce() on the main thread. A failed check prints its row; the
// program then exits non-zero. Argument: the library version the build expects.
using System;
using System.Collections.Generic;
using System.Globalization;
using System.IO;
using System.Net;
using System.Net.Sockets;
using System.Text;
using System.Threading;
using ZefaBase;

internal static class ZefaBindingTest
{
    private static int failures;
    private static readonly List<string> Journal = new List<string>();

    private static void Check(bool ok, string row, string detail = "")
    {
        if (ok) return;
        failures++;
        Console.Error.WriteLine("[" + row + "] failed " + detail);
    }

    private static string TakeJournal()
    {
        lock (Journal)
        {
            string text = string.Join(" ", Journal);
            Journal.Clear();
            return text;
        }
    }

    private static void Note(string entry) { lock (Journal) Journal.Add(entry); }

    private sealed class Listener : IZefaSDKLifecycleListener
    {
        private readonly string name;
        private readonly bool answer;
        public Listener(string name, bool answer) { this.name = name; this.answer = answer; }
        public bool OpenUrl(IntPtr application, string url, string optionsJson) { Note(name + ".options(" + url + "," + optionsJson + ")"); return answer; }
        public bool OpenUrl(IntPtr application, string url, string source, IntPtr annotation) { Note(name + ".source(" + url + "," + (source ?? "absent") + ")"); return answer; }
        public void OpenUrlContexts(IntPtr scene, IntPtr[] contexts) { Note(name + ".scene(" + contexts.Length + ")"); }
    }

    private sealed class Adapter : IZefaThirdUploadLogger
    {
        public void GameStart() { Note("gameStart"); }
        public void RegisterEvent() { Note("registerEvent"); }
        public void Login() { Note("login"); }
        public void Level(long level) { Note("level(" + level + ")"); }
        public void AddToCart(double amount, string first, string second) { Note("addToCart(" + amount + "|" + first + "|" + second + ")"); }
        public void InitCheckout(double amount, string first, string second) { Note("initCheckout(" + amount + "|" + first + "|" + second + ")"); }
        public void Purchase(double amount, string first, string second) { Note("purchase(" + amount + "|" + first + "|" + second + ")"); }
        public void Subscription(double amount, string first, string second) { Note("subscription(" + amount + "|" + first + "|" + second + ")"); }
        public void AdShow(string a, string b, string c, string d, string e, double amount) { Note("adShow(" + a + "|" + b + "|" + c + "|" + d + "|" + e + "|" + amount + ")"); }
    }

    private static void TestStart(string home, string expectedVersion)
    {
        string bundle = Path.Combine(home, "bundle");
        Directory.CreateDirectory(bundle);
        File.WriteAllText(Path.Combine(bundle, "Info.json"), "{\"CFBundleIdentifier\":\"com.zefa.cstest\"}");
        var options = new ZefaOptions
        {
            BundleDirectory = bundle,
            DataDirectory = Path.Combine(home, "data"),
            Log = (level, line) => Note(level + ":" + line),
        };
        Check(!Zefa.Start(new ZefaOptions { CaBundle = Path.Combine(home, "none.pem") }), "an unreadable CA bundle is refused");
        Check(Zefa.Start(options), "start");
        Check(!Zefa.Start(options), "a second start is refused");
        Check(Zefa.Version == expectedVersion, "version", Zefa.Version);
        Check(ZefaSDKUtils.AppBundleId == "com.zefa.cstest", "the bundle directory", ZefaSDKUtils.AppBundleId);
        Check(ZefaServerCall.GetSessionTokenFromDisk() == null, "no stored token");
        string log = TakeJournal();
        Check(log.StartsWith("Warn:[") && log.Contains("[getSessionTokenFormDisk()]") && log.EndsWith("\n") &&
              log.IndexOf('\n') == log.Length - 1, "one warning line through the callback", log);
    }

    private static void TestStatusCodes()
    {
        var own = new ZefaStatusCode { Code = 7, Msg = "sept: \u00e9\u20ac" };
        var rows = new[]
        {
            Tuple.Create("a predefined code", ZefaStatusCode.ClientUnknownException, 13001L, "CLIENT_UNKNOW_EXCEPTION"),
            Tuple.Create("withMsg: a copy with the code", ZefaStatusCode.Failed.WithMsg("x"), 400L, "x"),
            Tuple.Create("code and a message beyond ASCII, set from C#", own, 7L, "sept: \u00e9\u20ac"),
        };
        foreach (var row in rows)
        {
            Check(row.Item2.Code == row.Item3 && row.Item2.Msg == row.Item4, row.Item1, row.Item2.Code + " " + row.Item2.Msg);
            row.Item2.Dispose();
        }
        Check(ZefaStatusCode.Failed.Code == 400, "a disposed shared code lives on");
    }

    private static void TestHubs()
    {
        using (var hub = new ZefaSDKLifecycleService())
        {
            ZefaListener yes = hub.AddListener(new Listener("yes", true));
            ZefaListener no = hub.AddListener(new Listener("no", false));
            Check(!hub.OpenUrl(IntPtr.Zero, "game://a", "{\"k\":\"\u00e9\"}") &&
                  TakeJournal() == "yes.options(game://a,{\"k\":\"\u00e9\"}) no.options(game://a,{\"k\":\"\u00e9\"})",
                  "both listeners, options as JSON; one false makes the answer false");
            Check(hub.RemoveListener(no) && !hub.RemoveListener(no), "remove a listener once");
            Check(hub.OpenUrl(IntPtr.Zero, "game://b", null, IntPtr.Zero) && TakeJournal() == "yes.source(game://b,absent)",
                  "the remaining listener answers true");
            hub.OpenUrlContexts(IntPtr.Zero, new[] { (IntPtr)1, (IntPtr)2, (IntPtr)1 });
            Check(TakeJournal() == "yes.scene(2)", "scene contexts as a set");
            yes.Dispose();
            no.Dispose();
        }
        using (var hub = new ZefaThirdUploadLoggerService())
        {
            ZefaListener adapter = hub.AddAdapter(new Adapter());
            hub.GameStart();
            hub.Level(-9000000000L);
            hub.Purchase(0.5, "gem", "JPY");
            hub.AdShow("n", "u", "p", "t", "", 0.25);
            string events = TakeJournal();
            Check(events == "gameStart level(-9000000000) purchase(0.5|gem|JPY) adShow(n|u|p|t||0.25)",
                  "analytics events reach the adapter, arguments unchanged", events);
            Check(hub.RemoveAdapter(adapter), "remove the adapter");
            hub.Login();
            Check(TakeJournal() == "", "a removed adapter hears nothing");
            adapter.Dispose();
        }
    }

    // A one-reply-per-connection HTTP server on 127.0.0.1 that records each request.
    private sealed class LocalServer : IDisposable
    {
        private readonly TcpListener listener = new TcpListener(IPAddress.Loopback, 0);
        public readonly List<string> Requests = new List<string>();
        public string Reply = "{}";

        public LocalServer()
        {
            listener.Start();
            new Thread(Serve) { IsBackground = true }.Start();
        }

        public string Url { get { return "http://127.0.0.1:" + ((IPEndPoint)listener.LocalEndpoint).Port; } }

        private void Serve()
        {
            try
            {
                while (true)
                {
                    using (TcpClient client = listener.AcceptTcpClient())
                    using (NetworkStream stream = client.GetStream())
                    {
                        var head = new StringBuilder();
                        while (!head.ToString().EndsWith("\r\n\r\n")) head.Append((char)stream.ReadByte());
                        int length = 0;
                        foreach (string line in head.ToString().Split('\n'))
                        {
                            if (line.ToLowerInvariant().StartsWith("content-length:")) length = int.Parse(line.Substring(15).Trim());
                        }
                        var body = new byte[length];
                        for (int read = 0; read < length;) read += stream.Read(body, read, length - read);
                        lock (Requests) Requests.Add(head.ToString().Split(' ')[1] + " " + Encoding.UTF8.GetString(body));
                        byte[] reply = Encoding.UTF8.GetBytes(Reply);
                        byte[] header = Encoding.ASCII.GetBytes("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " +
                                                                reply.Length + "\r\nConnection: close\r\n\r\n");
                        stream.Write(header, 0, header.Length);
                        stream.Write(reply, 0, reply.Length);
                    }
                }
            }
            catch (SocketException) {}  // the listener was stopped
            catch (ObjectDisposedException) {}
        }

        public void Dispose() { listener.Stop(); }
    }

    private static void TestServerCalls()
    {
        int mainThread = Thread.CurrentThread.ManagedThreadId;
        var rows = new[]
        {
            Tuple.Create("data", "{\"state\":{\"code\":0},\"data\":{\"b\":[1],\"a\":\"\u00e9\"}}", "success {\"b\":[1],\"a\":\"\u00e9\"}"),
            Tuple.Create("backend failure", "{\"state\":{\"code\":7,\"msg\":\"no\"}}", "failed 7 no"),
        };
        foreach (var row in rows)
        {
            using (var server = new LocalServer { Reply = row.Item2 })
            {
                ZefaServerCall.SetHostAndDeviceId(server.Url, "game.test", "dev-1");
                string outcome = null;
                int thread = -1;
                ZefaServerCall.PostJsonAsyncWithToken(false, "/api/p", "{\"n\":1}", "tok",
                    data => { outcome = "success " + data; thread = Thread.CurrentThread.ManagedThreadId; },
                    status => { outcome = "failed " + status.Code + " " + status.Msg; thread = Thread.CurrentThread.ManagedThreadId; status.Dispose(); });
                Check(outcome == null, row.Item1 + ": nothing before the drain");
                DateTime deadline = DateTime.UtcNow.AddSeconds(10);
                while (outcome == null && DateTime.UtcNow < deadline)
                {
                    Zefa.RunOnce();
                    Thread.Sleep(5);
                }
                Check(outcome == row.Item3, row.Item1, outcome);
                Check(thread == mainThread, row.Item1 + ": on the thread that drains");
                lock (server.Requests)
                {
                    Check(server.Requests.Count == 1 && server.Requests[0] == "/api/p?sessionToken=tok {\"n\":1}",
                          row.Item1 + ": the request", string.Join(";", server.Requests));
                }
            }
        }
        string refused = null;
        ZefaServerCall.PostJsonAsync(true, "/api/p", "{}", data => refused = data, status => refused = "failed " + status.Code);
        Check(refused == "failed 11003", "no stored token: refused at once, on this thread", refused);
    }

    private static int Main(string[] args)
    {
        Thread.CurrentThread.CurrentCulture = CultureInfo.InvariantCulture;  // amounts written as 0.5
        string home = Path.Combine(Path.GetTempPath(), "zefa_cs_" + Guid.NewGuid().ToString("N"));
        Directory.CreateDirectory(home);
        try
        {
            TestStart(home, args.Length > 0 ? args[0] : "");
            TestStatusCodes();
            TestHubs();
            TestServerCalls();
            GC.Collect();
            GC.WaitForPendingFinalizers();  // handles not disposed are released by their finalisers
        }
        finally
        {
            Directory.Delete(home, true);
        }
        if (failures > 0) Console.Error.WriteLine(failures + " check(s) failed");
        return failures == 0 ? 0 : 1;
    }
}
